#include "platform/win/WinFiles.h"

#include "platform/win/Handles.h"

#include <QtCore/QDir>

#include <vector>

namespace KvPlatform {

namespace {

constexpr QLatin1String LinkSuffix(".lnk");

/** The pattern for all that is in a folder, in the form that the system takes at any length. */
QString searchPattern(const QString &folder)
{
    const QString native = QDir::toNativeSeparators(QDir::cleanPath(QDir(folder).absolutePath()));
    if (native.startsWith(u"\\\\"))
        return QStringLiteral("\\\\?\\UNC") + native.mid(1) + QStringLiteral("\\*");
    const QLatin1String any(native.endsWith(u'\\') ? "*" : "\\*");
    return QStringLiteral("\\\\?\\") + native + any;
}

class WinLinkWalk final : public LinkWalk
{
public:
    explicit WinLinkWalk(const QString &folder)
    {
        QString path = QDir::fromNativeSeparators(folder);
        while (path.endsWith(u'/'))
            path.chop(1);
        if (!path.isEmpty())
            m_folders.push_back(path);
        advance();
    }

    bool hasNext() const override { return !m_next.isNull(); }

    QString next() override
    {
        const QString current = m_next;
        advance();
        return current;
    }

private:
    /** Steps to the next entry, in the next folder if need be; false behind the last. */
    bool step()
    {
        if (m_find && FindNextFileW(m_find.get(), &m_entry))
            return true;
        m_find.reset();
        while (!m_find && !m_folders.empty()) {
            m_folder = m_folders.back();
            m_folders.pop_back();
            m_find.reset(FindFirstFileExW(wide(searchPattern(m_folder)), FindExInfoBasic, &m_entry,
                                          FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
        }
        return static_cast<bool>(m_find);
    }

    void advance()
    {
        m_next = QString();
        while (m_next.isNull() && step()) {
            const QString name = QString::fromWCharArray(m_entry.cFileName);
            const DWORD attributes = m_entry.dwFileAttributes;
            if ((attributes & FILE_ATTRIBUTE_HIDDEN) || name == QLatin1String(".") || name == QLatin1String(".."))
                continue;
            if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
                if (name.endsWith(LinkSuffix, Qt::CaseInsensitive))
                    m_next = m_folder + u'/' + name;
            } else if (!(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
                m_folders.push_back(m_folder + u'/' + name);
            }
        }
    }

    std::vector<QString> m_folders; ///< Found but not yet entered.
    QString m_folder;
    QString m_next;
    UniqueFind m_find;
    WIN32_FIND_DATAW m_entry = {};
};

} // namespace

std::unique_ptr<LinkWalk> WinFiles::walkLinks(const QString &folder) const
{
    return std::make_unique<WinLinkWalk>(folder);
}

} // namespace KvPlatform
