#include <KvProgramInitializer.h>

#include <QtCore/QCoreApplication>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>

#include <cstdio>
#include <memory>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    KvProgramInitializer::init();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport KvProgram 1.0\n"
                      "QtObject { property bool isEmpty: KvProgramContext.isEmpty }",
                      QUrl());
    const std::unique_ptr<QObject> object(component.create());
    if (!object || !object->property("isEmpty").toBool()) {
        std::fputs(qPrintable(component.errorString()), stderr);
        return 1;
    }
    return 0;
}
