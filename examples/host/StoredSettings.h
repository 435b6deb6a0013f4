#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

class KvAppSetting;

/**
 * What the user has set up for some monitor models: a stand-in for the store that a real host keeps.
 *
 * The file is a JSON array of objects with the texts "model" and "executable", a path of which only the text counts, in
 * either separator and any letter case, and "list": "games" or "tools".
 */
class StoredSettings
{
public:
    StoredSettings();
    ~StoredSettings();

    /** The file that is compiled in; it goes with the sample machine. */
    static QString builtInFile();

    /** Reads a file in place of what is there; gives what is wrong with it as one line for the user, or nothing. */
    QString load(const QString &path);

    /** The models of all settings, each as often as it stands there. */
    QStringList models() const;

    /** For the catalogue: in lower case and with forward slashes, as it compares. They stay this object's. */
    QList<KvAppSetting *> games() const;
    QList<KvAppSetting *> tools() const;

private:
    using Settings = std::vector<std::unique_ptr<KvAppSetting>>;

    Settings m_games;
    Settings m_tools;
};
