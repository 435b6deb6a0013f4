#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QList>

#include <optional>

/**
 * The resources of a Portable Executable file (32 or 64 bit).
 *
 * Format: "PE Format", Microsoft. Only views of the bytes are kept, so the bytes must outlive the object. Every size
 * and offset is checked against the file; a damaged entry is left out, and a directory that points to itself ends.
 */
class PeFile
{
public:
    /** Resource types with a number of their own. */
    enum ResourceType : quint16
    {
        Icon = 3,
        GroupIcon = 14,
        Version = 16
    };

    struct Resource
    {
        quint32 name = 0;     ///< The number of the resource; 0 for one that has a text as its name.
        quint16 language = 0; ///< A language identifier.
        QByteArrayView data;
        int position = 0; ///< Which of the type's names it has, counted from 0. Languages of one name share it.
    };

    /** Nothing if the bytes are not a PE file. A PE file without resources gives an empty object. */
    static std::optional<PeFile> parse(QByteArrayView bytes);

    /**
     * The resources of one type, in the order of the file's directory. Searching ends after 65,536 directory entries,
     * more than any real file has.
     */
    QList<Resource> resources(ResourceType type) const;

private:
    struct Entry
    {
        quint32 name = 0;
        quint32 target = 0;
    };

    QByteArrayView fromAddress(quint32 address) const;
    QList<Entry> directory(quint32 offset, int &budget) const;
    std::optional<QByteArrayView> data(quint32 offset) const;
    void appendLanguages(const Entry &named, int position, QList<Resource> &found, int &budget) const;

    QByteArrayView m_bytes;
    QByteArrayView m_sections;  ///< The section table.
    QByteArrayView m_resources; ///< From the root of the resource directory to the end of its section.
};
