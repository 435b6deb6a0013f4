#include "platform/WindowsPath.h"

#include <QtCore/QVarLengthArray>

namespace WindowsPath {

namespace {

constexpr QLatin1String ShareMark("//");
constexpr QLatin1String WebDavTag("@SSL");
constexpr QLatin1String WebDavScheme("webdavs");

bool hasDrive(QStringView path)
{
    return path.size() >= 2 && path[1] == u':';
}

/** What is left of `path` behind "\\?\", "//?/" or "\??\"; a share keeps its two separators. */
QString withoutLongPathPrefix(const QString &path)
{
    if (path.size() < 4 || (path[0] != u'\\' && path[0] != u'/'))
        return path;
    const QChar slash = path[0];
    if (path[2] != u'?' || path[3] != slash || (path[1] != slash && path[1] != u'?'))
        return path;
    const QStringView rest = QStringView(path).sliced(4);
    if (rest.startsWith(u"UNC") && rest.size() > 3 && rest[3] == slash)
        return slash + rest.sliced(3).toString();
    return rest.toString();
}

/** The length of what cleaning never removes: a server with its separator, a drive, a root's separator. */
qsizetype rootLength(QStringView path)
{
    if (path.startsWith(u"//")) {
        const qsizetype end = path.indexOf(u'/', 2);
        return end < 0 ? path.size() : end + 1;
    }
    if (hasDrive(path))
        return path.size() > 2 && path[2] == u'/' ? 3 : 2;
    return path.startsWith(u'/') ? 1 : 0;
}

bool isDots(QStringView segment)
{
    return segment.isEmpty() || segment == u"." || segment == u"..";
}

/** Whether cleaning would give the text itself; the usual case, and worth no allocation. */
bool isClean(QStringView path, qsizetype root)
{
    if (path.size() == root)
        return root == 1 || (root > 1 && (path[1] == u':' || !path.endsWith(u'/')));
    for (qsizetype begin = root; begin <= path.size();) {
        const qsizetype slash = path.indexOf(u'/', begin);
        const qsizetype end = slash < 0 ? path.size() : slash;
        if (isDots(path.sliced(begin, end - begin)))
            return false;
        begin = end + 1;
    }
    return true;
}

QString joined(QStringView root, const QVarLengthArray<QStringView, 32> &segments, qsizetype capacity)
{
    QString result;
    result.reserve(capacity);
    result += root;
    for (const QStringView segment : segments) {
        if (result.size() > root.size())
            result += u'/';
        result += segment;
    }
    return result.isEmpty() ? QStringLiteral(".") : result;
}

} // namespace

QString fromNativeSeparators(const QString &path)
{
    QString result = withoutLongPathPrefix(path);
    if (result.contains(u'\\'))
        result.replace(u'\\', u'/');
    return result;
}

QString toNativeSeparators(const QString &path)
{
    if (!path.contains(u'/'))
        return path;
    QString result = path;
    return result.replace(u'/', u'\\');
}

QString cleanPath(const QString &path)
{
    const QString name = fromNativeSeparators(path);
    if (name.isEmpty())
        return name;
    const qsizetype root = rootLength(name);
    if (isClean(name, root))
        return name;
    QVarLengthArray<QStringView, 32> segments;
    for (const QStringView segment : QStringView(name).sliced(root).tokenize(u'/', Qt::SkipEmptyParts)) {
        if (segment == u".." && !segments.isEmpty() && segments.back() != u"..")
            segments.pop_back();
        else if (segment != u".")
            segments.push_back(segment);
    }
    QString result = joined(QStringView(name).first(root), segments, name.size());
    if (result.size() > 1 && result.endsWith(u'/') && !(result.size() == 3 && result[1] == u':'))
        result.chop(1);
    return result;
}

bool isRelative(const QString &path)
{
    const QString name = fromNativeSeparators(path);
    return !name.startsWith(u'/') && !hasDrive(name);
}

QString fileName(const QString &path)
{
    const QString name = fromNativeSeparators(path);
    const qsizetype slash = name.lastIndexOf(u'/');
    return slash < 0 && hasDrive(name) ? name.mid(2) : name.mid(slash + 1);
}

QString baseName(const QString &path)
{
    const QString name = fileName(path);
    const qsizetype dot = name.indexOf(u'.');
    return dot < 0 ? name : name.left(dot);
}

QUrl toUrl(const QString &text)
{
    const QString name = fromNativeSeparators(text);
    if (hasDrive(name) && !name.startsWith(u'/'))
        return QUrl::fromLocalFile(u'/' + name);
    const qsizetype hostEnd = name.startsWith(u"//") ? name.indexOf(u'/', 2) : -1;
    const QStringView host = QStringView(name).mid(2, hostEnd < 0 ? -1 : hostEnd - 2);
    if (!name.startsWith(u"//") || !host.endsWith(WebDavTag, Qt::CaseInsensitive))
        return QUrl::fromLocalFile(name);
    const QString path = hostEnd < 0 ? QString() : name.mid(hostEnd);
    QUrl url = QUrl::fromLocalFile(ShareMark + host.chopped(WebDavTag.size()).toString() + path);
    url.setScheme(WebDavScheme);
    return url;
}

QString fromUrl(const QUrl &url)
{
    const bool webDav = url.scheme() == WebDavScheme;
    if (!webDav && !url.isLocalFile())
        return QString();
    const QString path = url.path(QUrl::FullyDecoded);
    if (!url.host().isEmpty()) {
        const QString separator = path.isEmpty() || path.startsWith(u'/') ? QString() : QStringLiteral("/");
        return ShareMark + url.host() + (webDav ? WebDavTag : QLatin1String()) + separator + path;
    }
    return path.size() > 2 && path[0] == u'/' && path[2] == u':' ? path.mid(1) : path;
}

} // namespace WindowsPath
