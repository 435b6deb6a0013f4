// How long GIO takes to list as many desktop entries: prints milliseconds for the number of files given.

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <cstdio>
#include <gio/gio.h>

int main(int argc, char *argv[])
{
    const int count = argc == 2 ? QByteArray(argv[1]).toInt() : 0;
    if (count <= 0)
        return 2;
    const QTemporaryDir folder;
    const QString applications = folder.filePath(QStringLiteral("applications"));
    QDir().mkpath(applications);
    for (int i = 0; i < count; ++i) {
        QFile file(QStringLiteral("%1/program%2.desktop").arg(applications).arg(i));
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        file.write("[Desktop Entry]\nType=Application\nName=Program " + QByteArray::number(i) +
                   "\nComment=Starts program number " + QByteArray::number(i) + "\nExec=/bin/true --number " +
                   QByteArray::number(i) + "\nIcon=program\nPath=/tmp\n");
    }
    qputenv("XDG_DATA_DIRS", folder.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", folder.filePath(QStringLiteral("home")).toLocal8Bit());
    QElapsedTimer timer;
    timer.start();
    GList *const all = g_app_info_get_all();
    const double milliseconds = double(timer.nsecsElapsed()) / 1e6;
    const bool complete = g_list_length(all) == guint(count);
    g_list_free_full(all, g_object_unref);
    std::printf("%f\n", milliseconds);
    return complete ? 0 : 1;
}
