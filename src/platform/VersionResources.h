#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>
#include <optional>

namespace KvPlatform {

/** A text out of a version block. */
struct VersionText
{
    QString text;       ///< Up to its terminating zero.
    quint32 length = 0; ///< The reported length in UTF-16 units, the terminating zero included.
};

/** The version block of one file. Source: VerQueryValueW; sub-block names are compared without regard to case. */
class VersionBlock
{
public:
    virtual ~VersionBlock();

    /** The bytes of a binary sub-block such as "\\VarFileInfo\\Translation". */
    virtual std::optional<QByteArray> binary(const QString &subBlock) const;

    /** A text sub-block such as "\\StringFileInfo\\040904b0\\ProductName". */
    virtual std::optional<VersionText> text(const QString &subBlock) const;
};

/** Version resources of program files. Format: VS_VERSIONINFO. */
class VersionResources
{
public:
    virtual ~VersionResources();

    /** The version block of a file, given with native separators; null if it has none. Source: GetFileVersionInfoW. */
    virtual std::unique_ptr<VersionBlock> load(const QString &nativePath) const;

    /** The user's interface language as a 16-bit language identifier. Source: GetUserDefaultUILanguage. */
    virtual quint16 userInterfaceLanguage() const;
};

} // namespace KvPlatform
