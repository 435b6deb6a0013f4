#include "Targets.h"

#include "formats/AntiCheatSettings.h"
#include "formats/AppList.h"
#include "formats/EpicInstallations.h"
#include "formats/PeFile.h"
#include "formats/RegistryText.h"
#include "formats/ShellLinkFile.h"
#include "formats/UbisoftConfiguration.h"
#include "formats/VersionInfo.h"
#include "Require.h"

#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtCore/QXmlStreamAttributes>

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
