#include "BareProcesses.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

bool waitBarely(qint64 processId)
{
    siginfo_t info = {};
    return ::waitid(P_PID, static_cast<id_t>(processId), &info, WEXITED | WNOWAIT) == 0;
}

int findBarely(const QString &name)
{
    const QByteArray wanted = name.toUtf8();
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(::opendir("/proc"), ::closedir);
    int count = 0;
    while (const dirent *const entry = folder ? ::readdir(folder.get()) : nullptr) {
        if (!std::isdigit(static_cast<unsigned char>(entry->d_name[0])))
            continue;
        char link[300];
        char path[4096];
        std::snprintf(link, sizeof link, "/proc/%s/exe", entry->d_name);
        const auto size = ::readlink(link, path, sizeof path - 1);
        path[size < 0 ? 0 : size] = '\0';
        const char *const slash = std::strrchr(path, '/');
        if (slash && ::strcasecmp(slash + 1, wanted.constData()) == 0)
            return -1;
        ++count;
    }
    return count;
}
