#include "platform/win/WinVersions.h"

#include "platform/win/Handles.h"

#include <winver.h>

#include <cstring>
#include <vector>

namespace KvPlatform {

namespace {

constexpr size_t MaximumBlockSize = 1024 * 1024;

/** VerQueryValueW trusts the 16-bit lengths in a block. With as many zeros behind it, a lie ends in an empty node. */
constexpr size_t Margin = 64 * 1024 + 64;

class WinVersionBlock final : public VersionBlock
{
public:
    /** `block` ends in a margin. */
    explicit WinVersionBlock(std::vector<char> block)
        : m_block(std::move(block))
    {}

    std::optional<QByteArray> binary(const QString &subBlock) const override
    {
        const Value value = query(subBlock);
        if (!value.begin)
            return std::nullopt;
        return QByteArray(value.begin, static_cast<qsizetype>(qMin<size_t>(value.length, bytesFrom(value.begin))));
    }

    std::optional<VersionText> text(const QString &subBlock) const override
    {
        const Value value = query(subBlock);
        if (!value.begin)
            return std::nullopt;
        QString text;
        char16_t unit = 0;
        const char *const end = value.begin + bytesFrom(value.begin) / sizeof unit * sizeof unit;
        for (const char *place = value.begin; place != end; place += sizeof unit) {
            std::memcpy(&unit, place, sizeof unit);
            if (unit == 0)
                break;
            text += QChar(unit);
        }
        return VersionText{text, value.length};
    }

private:
    struct Value
    {
        const char *begin = nullptr;
        quint32 length = 0;
    };

    const char *blockEnd() const { return m_block.data() + m_block.size() - Margin; }
    size_t bytesFrom(const char *place) const { return static_cast<size_t>(blockEnd() - place); }

    /** The place and the reported length of a sub-block, if it begins in the block. */
    Value query(const QString &subBlock) const
    {
        void *found = nullptr;
        UINT length = 0;
        if (!VerQueryValueW(m_block.data(), wide(subBlock), &found, &length) || !found)
            return {};
        const char *const begin = static_cast<const char *>(found);
        const bool isInside = begin >= m_block.data() && begin <= blockEnd();
        return isInside ? Value{begin, length} : Value{};
    }

    std::vector<char> m_block;
};

} // namespace

std::unique_ptr<VersionBlock> WinVersions::load(const QString &nativePath) const
{
    const DWORD size = GetFileVersionInfoSizeW(wide(nativePath), nullptr);
    if (size == 0 || size > MaximumBlockSize)
        return nullptr;
    std::vector<char> block(size + Margin);
    if (!GetFileVersionInfoW(wide(nativePath), 0, size, block.data()))
        return nullptr;
    return std::make_unique<WinVersionBlock>(std::move(block));
}

quint16 WinVersions::userInterfaceLanguage() const
{
    return GetUserDefaultUILanguage();
}

} // namespace KvPlatform
