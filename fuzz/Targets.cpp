#include "Targets.h"

#include "formats/AntiCheatSettings.h"
#include "formats/AppList.h"
#include "formats/EpicInstallations.h"
#include "formats/IconFile.h"
#include "formats/IconId.h"
#include "formats/PeFile.h"
#include "formats/PeIcons.h"
#include "formats/RegistryText.h"
#include "formats/ShellLinkFile.h"
#include "formats/UbisoftConfiguration.h"
#include "formats/VersionInfo.h"
#include "Require.h"

#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QXmlStreamAttributes>

#include <cstring>

using FuzzTargets::require;

namespace {

void requireInside(QByteArrayView part, QByteArrayView whole)
{
    require(part.isEmpty() || (part.begin() >= whole.begin() && part.end() <= whole.end()));
}

/** The lines of a configuration file up to the first empty one, each of its printable bytes. */
QStringList printableLines(QByteArrayView bytes)
{
    QStringList lines;
    for (qsizetype begin = 0; begin < bytes.size();) {
        qsizetype end = bytes.indexOf("\r\n", begin);
        if (end < 0)
            end = bytes.size();
        QString line;
        for (const char byte : bytes.sliced(begin, end - begin)) {
            if (byte >= 0x20 && byte <= 0x7E)
                line += QLatin1Char(byte);
        }
        if (line.isEmpty())
            break;
        lines.append(line);
        begin = end + 2;
    }
    return lines;
}

/** What the lines tell of a game, line by line as it is meant. */
QStringList executablesOf(const QString &name, const QStringList &lines)
{
    QStringList executables;
    bool isInGame = false;
    for (const QString &line : lines) {
        if (line.contains(QLatin1String("shortcut_name")) && line.contains(name))
            isInGame = true;
        if (!isInGame || !line.contains(QLatin1String("relative")))
            continue;
        const QString path = line.split(u' ').constLast();
        if (!executables.contains(path))
            executables.append(path);
        isInGame = false;
    }
    return executables;
}

/** Decodes some images; thousands of them are not new to the decoder, only slow. */
void requireSound(const QList<IconImage> &images)
{
    require(images.size() <= 0xFFFF);
    for (const IconImage &image : images.first(qMin<qsizetype>(images.size(), 8))) {
        const QSize size = image.size();
        require(size.width() > 0 && size.width() <= IconImage::MaxSide);
        require(size.height() > 0 && size.height() <= IconImage::MaxSide);
        const QImage decoded = image.decode();
        require(decoded.isNull() || (decoded.size() == size && decoded.format() == QImage::Format_ARGB32));
    }
}

void requireWhole(const QString &id)
{
    const QString text = QUrl::fromPercentEncoding(id.toUtf8());
    const IconId icon = IconId::parse(id);
    require(text.startsWith(icon.path));
    const QString query = text.mid(icon.path.size());
    if (query.isEmpty()) {
        require(text.lastIndexOf(u'?') <= 0 && icon.index == 0 && icon.version.isEmpty());
        return;
    }
    require(!icon.path.isEmpty() && query.lastIndexOf(u'?') == 0);
    // Items are shown as in a URL, some of their characters encoded.
    require(icon.version.size() <= 12 * query.size());
}

} // namespace

void FuzzTargets::antiCheatSettings(QByteArrayView bytes)
{
    const AntiCheatSettings::Settings settings = AntiCheatSettings::parse(bytes.toByteArray());
    require(settings.fault == AntiCheatSettings::NoFault || settings.executable.isEmpty());
    require(!settings.executable.contains(u'"'));
}

void FuzzTargets::appList(QByteArrayView bytes)
{
    const QByteArray list = bytes.toByteArray();
    qsizetype elements = 0;
    AppList::read(list, [&elements](const QXmlStreamAttributes &attributes) {
        ++elements;
        QSet<QString> names;
        for (const QXmlStreamAttribute &attribute : attributes) {
            require(!names.contains(attribute.qualifiedName().toString()));
            names.insert(attribute.qualifiedName().toString());
        }
    });
    // What comes from an entity is no element, and another encoding than ASCII's needs more bytes.
    require(elements <= list.size() / 5);
}

void FuzzTargets::epicInstallations(QByteArrayView bytes)
{
    const EpicInstallations::Document document = EpicInstallations::parse(bytes.toByteArray());
    require(document.fault == EpicInstallations::NoFault || document.installations.isEmpty());
    require(document.installations.size() <= bytes.size());
}

void FuzzTargets::iconFile(QByteArrayView bytes)
{
    const auto images = IconFile::parse(bytes);
    require(images.has_value() == IconFile::isIconFile(bytes));
    if (images)
        requireSound(*images);
}

void FuzzTargets::iconId(QByteArrayView bytes)
{
    requireWhole(QString::fromUtf8(bytes));
    // And texts that no UTF-8 is decoded to.
    QString units(bytes.size() / 2, Qt::Uninitialized);
    if (!units.isEmpty())
        std::memcpy(units.data(), bytes.data(), size_t(units.size()) * sizeof(QChar));
    requireWhole(units);
}

void FuzzTargets::peFile(QByteArrayView bytes)
{
    const auto file = PeFile::parse(bytes);
    if (!file)
        return;
    for (const auto type : {PeFile::Icon, PeFile::GroupIcon, PeFile::Version}) {
        for (const PeFile::Resource &resource : file->resources(type))
            requireInside(resource.data, bytes);
    }
}

void FuzzTargets::peIcons(QByteArrayView bytes)
{
    const auto icons = PeIcons::parse(bytes, 0x0409);
    if (!icons)
        return;
    require(!icons->at(-1) && !icons->at(0x10000) && !icons->withNumber(0));
    for (int index = 0; index < 3; ++index)
        requireSound(icons->at(index).value_or(QList<IconImage>()));
    requireSound(icons->withNumber(1).value_or(QList<IconImage>()));
}

void FuzzTargets::registryText(QByteArrayView bytes)
{
    const RegistryText::Document read = RegistryText::parse(bytes);
    // The first round may leave out what can't be written and add the keys of stray values; after that nothing changes.
    const RegistryText::Document first = RegistryText::parse(RegistryText::serialize(read.entries));
    require(first.faults.isEmpty());
    require(first.entries.size() <= 2 * read.entries.size());
    const RegistryText::Document second = RegistryText::parse(RegistryText::serialize(first.entries));
    require(second.faults.isEmpty() && second.entries == first.entries);
}

void FuzzTargets::shellLinkFile(QByteArrayView bytes)
{
    const auto link = ShellLinkFile::parse(bytes);
    if (!link)
        return;
    require(link->hasIdList || !link->idListPath);
    require(!link->idListPath || link->idListPath->contains(u'\\'));
    require(!link->environmentPath || !link->environmentPath->isEmpty());
    require(!link->arguments.contains(QChar(u'\0')));
}

void FuzzTargets::ubisoftConfiguration(QByteArrayView bytes)
{
    // The first line is the name that is asked for.
    const qsizetype end = bytes.indexOf('\n');
    const QString name = QString::fromUtf8(bytes.first(qMax<qsizetype>(0, end)));
    const QStringList lines = printableLines(bytes.sliced(end + 1));
    UbisoftConfiguration configuration;
    for (const QString &line : lines)
        configuration.addLine(line);
    require(configuration.executablesOf(name) == executablesOf(name, lines));
    require(configuration.executablesOf(QString()) == executablesOf(QString(), lines));
}

void FuzzTargets::versionInfo(QByteArrayView bytes)
{
    const auto info = VersionInfo::parse(bytes);
    if (!info)
        return;
    for (const char *path : {"\\", "\\VarFileInfo\\Translation", "\\StringFileInfo", "\\StringFileInfo\\040904b0",
                             "\\StringFileInfo\\040904b0\\ProductName", "\\A\\B\\C\\D"}) {
        if (const auto value = info->query(QString::fromLatin1(path))) {
            requireInside(value->bytes, bytes);
            require(VersionInfo::text(*value).size() <= value->bytes.size() / 2);
        }
    }
}
