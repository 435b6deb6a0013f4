#include "platform/portable/MachineVersions.h"

#include "formats/PeFile.h"
#include "formats/VersionInfo.h"
#include "platform/Files.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace KvPlatform {

namespace {

class MachineVersionBlock final : public VersionBlock
{
public:
    /** `info` looks at `bytes`, whose data stays where it is when the array moves. */
    MachineVersionBlock(QByteArray bytes, VersionInfo info)
        : m_bytes(std::move(bytes))
        , m_info(info)
    {}

    std::optional<QByteArray> binary(const QString &subBlock) const override
    {
        const std::optional<VersionInfo::Value> value = m_info.query(subBlock);
        return value ? std::optional<QByteArray>(value->bytes.toByteArray()) : std::nullopt;
    }

    std::optional<VersionText> text(const QString &subBlock) const override
    {
        const std::optional<VersionInfo::Value> value = m_info.query(subBlock);
        return value ? std::optional<VersionText>({VersionInfo::text(*value), value->length}) : std::nullopt;
    }

private:
    QByteArray m_bytes;
    VersionInfo m_info;
};

/** A copy of the file's version block; empty if it has none. */
QByteArray versionBytes(QByteArrayView program, quint16 language)
{
    const std::optional<PeFile> file = PeFile::parse(program);
    if (!file)
        return QByteArray();
    const QList<PeFile::Resource> resources = file->resources(PeFile::Version);
    for (const PeFile::Resource &resource : resources) {
        if (resource.language == language)
            return resource.data.toByteArray();
    }
    return resources.isEmpty() ? QByteArray() : resources.first().data.toByteArray();
}

} // namespace

MachineVersions::MachineVersions(std::shared_ptr<const Files> files, quint16 uiLanguage)
    : m_files(std::move(files))
    , m_uiLanguage(uiLanguage)
{}

std::unique_ptr<VersionBlock> MachineVersions::load(const QString &nativePath) const
{
    const QString hostPath = m_files->hostPath(nativePath);
    if (hostPath.isEmpty() || !QFileInfo(hostPath).isFile())
        return nullptr;
    QFile file(hostPath);
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    // Programs are large and their resources small: a mapping reads only the pages that are looked at.
    const uchar *const content = file.map(0, file.size());
    if (!content)
        return nullptr;
    QByteArray bytes = versionBytes(QByteArrayView(content, qsizetype(file.size())), m_uiLanguage);
    const std::optional<VersionInfo> info = VersionInfo::parse(bytes);
    return info ? std::make_unique<MachineVersionBlock>(std::move(bytes), *info) : nullptr;
}

quint16 MachineVersions::userInterfaceLanguage() const
{
    return m_uiLanguage;
}

} // namespace KvPlatform
