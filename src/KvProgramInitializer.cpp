#include "KvProgramInitializer.h"

#include "KvAppSetting.h"
#include "KvProgramContext.h"
#include "Singleton.h"

#include <QtQml/qqml.h>

KvProgramInitializer::KvProgramInitializer(QObject *parent)
    : QObject(parent)
{}

KvProgramInitializer::~KvProgramInitializer() = default;

void KvProgramInitializer::init()
{
    registerQmlTypes();
}

KvProgramInitializer *KvProgramInitializer::instance()
{
    return Singleton<KvProgramInitializer>::instance();
}

void KvProgramInitializer::registerQmlTypes()
{
    constexpr char Uri[] = "KvProgram";
    qmlRegisterSingletonType<KvProgramContext>(Uri, 1, 0, "KvProgramContext", [](QQmlEngine *qml, QJSEngine *js) {
        return KvProgramContext::create(qml, js);
    });
    qmlRegisterType<KvAppSetting>(Uri, 1, 0, "KvAppSetting");
    qmlRegisterUncreatableType<ProgramInfo>(Uri, 1, 0, "ProgramInfo", QStringLiteral("Internal class"));
}
