#pragma once

#include <QtCore/QString>

#include <memory>
#include <optional>

namespace KvPlatform {

/** One shell link object. Used on the thread that created it. */
class ShellLink
{
public:
    virtual ~ShellLink();

    /** Reads the link from a file, given with native separators. Source: IPersistFile::Load, mode STGM_READ. */
    virtual bool load(const QString &nativePath);

    /** Brings the target up to date, with the SLR_ flags given. Source: IShellLinkW::Resolve without an owner window.
     */
    virtual bool resolve(quint32 flags);

    /** The file-system path of the target's ID list, if it has one. Source: GetIDList, SHGetPathFromIDListW. */
    virtual std::optional<QString> idListPath() const;

    /** The target path as it is stored. Source: IShellLinkW::GetPath with SLGP_RAWPATH. */
    virtual std::optional<QString> rawPath() const;

    /** The link's comment. Source: IShellLinkW::GetDescription. */
    virtual std::optional<QString> description() const;

    /** The arguments as stored. Source: IShellLinkW::GetArguments. */
    virtual std::optional<QString> arguments() const;

    /** The working directory as stored. Source: IShellLinkW::GetWorkingDirectory. */
    virtual std::optional<QString> workingDirectory() const;
};

/** The shell's reader of link files. Format: Shell Link (.LNK) Binary File Format, [MS-SHLLINK]. */
class ShellLinks
{
public:
    virtual ~ShellLinks();

    /** A new empty link object; null if the shell offers none. */
    virtual std::unique_ptr<ShellLink> create() const;

    /**
     * The name that the shell shows for a file, given with native separators; nothing if there is no such file.
     * Source: SHCreateItemFromParsingName, IShellItem::GetDisplayName with SIGDN_NORMALDISPLAY.
     */
    virtual std::optional<QString> displayName(const QString &nativePath) const;
};

} // namespace KvPlatform
