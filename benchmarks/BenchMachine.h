#pragma once

#include <QtCore/QTemporaryDir>

/**
 * A machine folder with many links, in a temporary folder that lives as long as the object.
 *
 * Every link has a name, arguments and a target of its own, a small program with an icon and a version resource. A
 * hundred links share a folder. With `doubled`, each target has two links, and the second always replaces the first.
 */
class BenchMachine
{
public:
    explicit BenchMachine(int links, bool doubled = false);

    QString path() const { return m_folder.path(); }

private:
    void writeFacts() const;
    void writeLink(int number, int target) const;
    void writeTarget(int target);

    QTemporaryDir m_folder;
    QByteArray m_program;
    QString m_sharedProgram;
};
