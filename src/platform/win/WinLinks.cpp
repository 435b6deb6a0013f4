#include "platform/win/WinLinks.h"

#include "platform/win/Handles.h"

#include <shlobj.h>
#include <shobjidl.h>

#include <array>

namespace KvPlatform {

namespace {

constexpr int TextCapacity = 8192;

/** The text that `read` leaves in a buffer of the given capacity, if it succeeds. */
template<typename Read>
std::optional<QString> readText(Read read)
{
    std::array<wchar_t, TextCapacity> buffer{};
    if (FAILED(read(buffer.data(), TextCapacity)))
        return std::nullopt;
    buffer.back() = 0;
    return QString::fromWCharArray(buffer.data());
}

class WinLink final : public ShellLink
{
public:
    explicit WinLink(ComPointer<IShellLinkW> link)
        : m_link(std::move(link))
    {}

    bool load(const QString &nativePath) override
    {
        ComPointer<IPersistFile> file;
        return SUCCEEDED(m_link->QueryInterface(IID_IPersistFile, file.putVoid())) &&
               SUCCEEDED(file->Load(wide(nativePath), STGM_READ));
    }

    bool resolve(quint32 flags) override { return SUCCEEDED(m_link->Resolve(nullptr, flags)); }

    std::optional<QString> idListPath() const override
    {
        UniqueTaskMemory<ITEMIDLIST_ABSOLUTE> list;
        // A link without a list succeeds and gives none.
        if (FAILED(m_link->GetIDList(list.put())) || !list)
            return std::nullopt;
        return readText([&list](wchar_t *buffer, int) -> HRESULT {
            return SHGetPathFromIDListW(list.get(), buffer) ? S_OK : E_FAIL;
        });
    }

    std::optional<QString> rawPath() const override
    {
        return readText(
            [this](wchar_t *buffer, int capacity) { return m_link->GetPath(buffer, capacity, nullptr, SLGP_RAWPATH); });
    }

    std::optional<QString> description() const override
    {
        return readText([this](wchar_t *buffer, int capacity) { return m_link->GetDescription(buffer, capacity); });
    }

    std::optional<QString> arguments() const override
    {
        return readText([this](wchar_t *buffer, int capacity) { return m_link->GetArguments(buffer, capacity); });
    }

    std::optional<QString> workingDirectory() const override
    {
        return readText(
            [this](wchar_t *buffer, int capacity) { return m_link->GetWorkingDirectory(buffer, capacity); });
    }

private:
    ComPointer<IShellLinkW> m_link;
};

} // namespace

std::unique_ptr<ShellLink> WinLinks::create() const
{
    ComPointer<IShellLinkW> link;
    if (FAILED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, link.putVoid())))
        return nullptr;
    return std::make_unique<WinLink>(std::move(link));
}

std::optional<QString> WinLinks::displayName(const QString &nativePath) const
{
    ComPointer<IShellItem> item;
    if (FAILED(SHCreateItemFromParsingName(wide(nativePath), nullptr, IID_IShellItem, item.putVoid())))
        return std::nullopt;
    UniqueTaskMemory<wchar_t> name;
    if (FAILED(item->GetDisplayName(SIGDN_NORMALDISPLAY, name.put())) || !name)
        return std::nullopt;
    return QString::fromWCharArray(name.get());
}

} // namespace KvPlatform
