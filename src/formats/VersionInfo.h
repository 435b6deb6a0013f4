#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QString>

#include <optional>

/**
 * A version resource, queried by sub-block path as VerQueryValueW does.
 *
 * Format: VS_VERSIONINFO and its children, Microsoft. Keys are compared without regard to case. Only a view of the
 * bytes is kept, so the bytes must outlive the object. Lengths in the block are checked; a damaged child ends the
 * search there.
 */
class VersionInfo
{
public:
    /** A value inside the block. */
    struct Value
    {
        /**
         * The value's bytes, never beyond its node. A text's go on to the node's end, because some resource compilers
         * count its length in bytes and some leave the terminating zero out of the count.
         */
        QByteArrayView bytes;
        quint32 length = 0; ///< The reported length as stored: UTF-16 units for a text, bytes for anything else.
    };

    /** Nothing if the bytes don't begin with a whole version block. */
    static std::optional<VersionInfo> parse(QByteArrayView bytes);

    /**
     * The value under a path such as "\\VarFileInfo\\Translation", with or without the leading backslash; "\\" is the
     * fixed information. Nothing if there is no such node; a node without a value gives an empty one.
     */
    std::optional<Value> query(const QString &subBlock) const;

    /** A value's bytes as text, up to the first zero or the end. */
    static QString text(const Value &value);

private:
    QByteArrayView m_bytes;
};
