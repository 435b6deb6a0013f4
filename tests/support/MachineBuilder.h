#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

struct ShellLinkBuilder;

/**
 * Makes a machine folder that lives as long as the builder.
 *
 * Files are written at once; what is set in the facts is written by writeFacts(), which ScopedMachine calls. Paths of
 * the machine are Windows paths with forward slashes. Every function that writes a file makes the folders that it
 * needs, and fails the program if the host system refuses, so that no test goes on with half a machine.
 */
class MachineBuilder
{
public:
    static constexpr char16_t KimSid[] = u"S-1-5-21-1111111111-2222222222-3333333333-1001";
    static constexpr char16_t AdaSid[] = u"S-1-5-21-1111111111-2222222222-3333333333-1002";

    MachineBuilder();

    /** The machine folder's host path. */
    QString path() const { return m_folder.path(); }

    /** The host path of a file of the machine, whether it exists or not; the letter case is kept. */
    QString hostPath(const QString &windowsPath) const;

    /** The content of machine.json. */
    QJsonObject &facts() { return m_facts; }
    void writeFacts() const;

    /** Signs "kim" of "DESK" in at the console, with the SID KimSid. */
    void addConsoleUser();

    /** Makes "ada", with the SID AdaSid, the user of this process. */
    void addProcessUser();

    void setEnvironment(const QString &name, const QString &value);
    void setFolder(const QString &name, const QString &windowsPath);
    void addPackage(const QJsonObject &package);

    void addFile(const QString &windowsPath, const QByteArray &content = QByteArray());
    void addFolder(const QString &windowsPath);
    void addLink(const QString &windowsPath, const ShellLinkBuilder &link);

    /** A link to a file of the machine, as the shell writes it: ID list and link information. */
    void addLinkTo(const QString &windowsPath, const QString &target);

    /** Writes `body` behind the line that opens an exported registry text. */
    void addRegistry(const QString &fileName, const QString &body);

    /** Writes the metadata file and names it in the facts. */
    void setMetadata(const QJsonArray &rules, const QString &windowsPath = QStringLiteral("C:/metadata.json"));

    /** Writes any file of the folder itself, such as "machine.json". */
    void write(const QString &relativePath, const QByteArray &content) const;

    /** What stands in a file of the folder itself; empty if there is none. */
    QByteArray read(const QString &relativePath) const;

private:
    void setMember(const QString &object, const QString &name, const QJsonValue &value);

    QTemporaryDir m_folder;
    QJsonObject m_facts;
};

/**
 * Makes the builder's machine the platform in force while it lives, and names it in KVPROGRAM_MACHINE. Afterwards the
 * variable, the platform and the metadata setting are gone. One at a time, on the main thread.
 */
class ScopedMachine
{
public:
    explicit ScopedMachine(const MachineBuilder &machine);
    ~ScopedMachine();

    ScopedMachine(const ScopedMachine &) = delete;
    ScopedMachine &operator=(const ScopedMachine &) = delete;
};
