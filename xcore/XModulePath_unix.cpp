#include "XModulePath.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <dlfcn.h>

QString xModulePath()
{
    static const char anchor = 0;
    Dl_info info = {};
    if (dladdr(&anchor, &info) == 0 || !info.dli_fname)
        return {};
    const QFileInfo file(QFile::decodeName(info.dli_fname));
    if (file.exists())
        return file.absoluteFilePath();
    // For the program itself the loader only knows the word by which it was started.
    return QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
}
