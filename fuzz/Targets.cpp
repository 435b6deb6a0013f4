#include "Targets.h"

#include "formats/IconFile.h"
#include "formats/IconId.h"
#include "formats/PeFile.h"
#include "formats/PeIcons.h"
#include "formats/RegistryText.h"
#include "formats/ShellLinkFile.h"
#include "formats/VersionInfo.h"

#include <QtCore/QUrl>

#include <cstdlib>
#include <cstring>

namespace {

void require(bool promise)
{
    if (!promise)
        std::abort();
}

void requireInside(QByteArrayView part, QByteArrayView whole)
{
    require(part.isEmpty() || (part.begin() >= whole.begin() && part.end() <= whole.end()));
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
