#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

/**
 * The text that the Windows registry editor exports and imports.
 *
 * "Windows Registry Editor Version 5.00" as UTF-16 LE with a byte order mark or as UTF-8, and "REGEDIT4"
 * (Windows-1252). Keys are kept as written, with backslashes. Pure functions, safe on any thread.
 *
 * Format: "Distribute registry changes with .reg files" (Microsoft support) and the registry value types of winnt.h.
 */
namespace RegistryText {

/** One change that a file asks for. */
struct Entry
{
    enum Kind
    {
        AddKey,      ///< "[KEY]"
        RemoveKey,   ///< "[-KEY]"
        SetValue,    ///< "\"name\"=..." or "@=..."
        RemoveValue, ///< "\"name\"=-"
    };

    Kind kind = AddKey;
    QString key;
    QString name;   ///< Empty for the default value.
    QVariant value; ///< QString (text, expandable text), QStringList, int (dword), qint64 (qword) or QByteArray.
    bool expandable = false; ///< The text is REG_EXPAND_SZ.
};

bool operator==(const Entry &left, const Entry &right);

/** A line that could not be understood. */
struct Fault
{
    int line = 0; ///< Counted from 1; the first line of a continued one.
    QString text; ///< What is wrong with it, in words, without the line's number.
};

struct Document
{
    QList<Entry> entries; ///< In file order.
    QList<Fault> faults;
};

/**
 * Reads a whole file. What can't be understood becomes a fault, and the rest of the file counts.
 *
 * A text given as bytes ends at its first zero, and a list of texts at its first empty one, as the registry's readers
 * take them. A quoted text may run over several lines. The values of a key that can't be read, and those after
 * "[-KEY]", are faults, never values of the key before.
 */
Document parse(QByteArrayView bytes);

/**
 * The entries as a version 5.00 file in UTF-8 with CR LF.
 *
 * parse() reads them back as the same entries if each value follows an AddKey of its key, or another value of it;
 * otherwise the key's line is added. The format has no way to write a key with a line feed or one that begins with "-",
 * nor keys and names with unpaired surrogates: entries with those are left out.
 */
QByteArray serialize(const QList<Entry> &entries);

} // namespace RegistryText
