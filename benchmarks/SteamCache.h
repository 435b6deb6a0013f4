#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QFile>
#include <QtCore/QList>
#include <QtCore/QRandomGenerator>
#include <QtCore/QtEndian>

/**
 * Generates app caches in the shape of real ones: for each app a head of numbers and hashes, then keys and values of
 * which few are of use to a scanner. A run has some ten bytes, and one run in ten has one.
 */
class SteamCache
{
public:
    /** The names of the apps that a scanner takes for games, in the order of the file. */
    QList<QByteArray> games;

    /** Writes at least `size` bytes; false if that fails. The same seed gives the same bytes. */
    bool write(const QString &path, qint64 size, quint32 seed = 1)
    {
        m_random.seed(seed);
        games.clear();
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        QByteArray bytes = number(0x07564428) + number(1);
        for (quint32 id = 10; file.pos() + bytes.size() < size; id += 10) {
            const QByteArray body = head(id) + app(id);
            bytes += number(id) + number(static_cast<quint32>(body.size())) + body;
            if (bytes.size() > 1024 * 1024 && file.write(std::exchange(bytes, {})) < 0)
                return false;
        }
        // What comes last is not judged, so that it must not be a game.
        bytes += tree("appinfo", text("x", "y")) + number(0);
        return file.write(bytes) == bytes.size();
    }

private:
    static QByteArray number(quint32 value)
    {
        QByteArray bytes(4, Qt::Uninitialized);
        qToLittleEndian(value, bytes.data());
        return bytes;
    }

    static QByteArray tree(const QByteArray &name, const QByteArray &content)
    {
        return '\0' + name + '\0' + content + '\x08';
    }
    static QByteArray text(const QByteArray &name, const QByteArray &value)
    {
        return '\x01' + name + '\0' + value + '\0';
    }
    static QByteArray integer(const QByteArray &name, quint32 value) { return '\x02' + name + '\0' + number(value); }

    bool isOneOf(int count) { return m_random.bounded(count) == 0; }

    QByteArray hash()
    {
        QByteArray bytes;
        for (int i = 0; i < 5; ++i)
            bytes += number(m_random.generate());
        return bytes;
    }

    QByteArray words(int most)
    {
        static const QList<QByteArray> List = {"Star", "Harbour", "of",     "Dragon",  "Quest",      "Farm",  "Racer",
                                               "the",  "Legends", "Dark",   "Castle",  "Simulator",  "Space", "City",
                                               "Deep", "Winter",  "Online", "Edition", "Chronicles", "II"};
        QByteArray result;
        for (int count = 1 + m_random.bounded(most); count > 0; --count)
            result += List.at(m_random.bounded(List.size())) + (count > 1 ? " " : "");
        return result;
    }

    QByteArray head(quint32 id)
    {
        return number(2) + number(0x65000000 + m_random.bounded(0x800000)) + QByteArray(8, '\0') + hash() +
               number(id * 31) + hash();
    }

    QByteArray app(quint32 id)
    {
        const bool isGame = !isOneOf(3);
        const QByteArray name = words(4) + ' ' + QByteArray::number(id);
        if (isGame)
            games.append(name);
        QByteArray content =
            integer("appid", id) + tree("common", common(id, name, isGame)) + tree("extended", extended());
        if (isGame)
            content += tree("config", config(name)) + tree("depots", depots(id));
        return tree("appinfo", content) + '\x08';
    }

    QByteArray common(quint32 id, const QByteArray &name, bool isGame)
    {
        QByteArray result =
            text("name", name) + text("type", isGame ? "Game" : "DLC") + text("releasestate", "released");
        if (isGame) {
            result += text("oslist", "windows") + text("logo", hash().toHex()) +
                      text("logo_small", hash().toHex() + "_thumb") + text("clienttga", hash().toHex()) +
                      text("clienticon", hash().toHex()) + text("icon", hash().toHex()) +
                      text("controller_support", "full") + text("metacritic_name", name) +
                      integer("metacritic_score", 70);
            if (isOneOf(4)) // Names in other scripts are bytes that separate, to a scanner.
                result +=
                    tree("name_localized", text("schinese", "\xE6\x98\x9F\xE6\xB8\xAF\xE4\xBC\xA0\xE8\xAF\xB4") +
                                               text("russian", "\xD0\x93\xD0\xB0\xD0\xB2\xD0\xB0\xD0\xBD\xD1\x8C"));
        }
        result +=
            tree("small_capsule", text("english", "capsule_231x87.jpg")) +
            tree("header_image", text("english", "header.jpg")) +
            tree("library_assets",
                 text("library_capsule", "en") + text("library_hero", "en") + text("library_logo", "en") +
                     tree("logo_position", text("pinned_position", "BottomLeft") +
                                               text("width_pct", "48.666666666666664") + text("height_pct", "100")));
        result += integer("store_asset_mtime", m_random.generate()) + tree("associations", associations());
        result +=
            tree("languages", listed({"english", "german", "french", "italian", "koreana", "spanish", "schinese"}));
        result += tree("supported_languages", supportedLanguages());
        result += tree("store_tags", tags()) + text("gameid", QByteArray::number(id)) +
                  integer("steam_release_date", m_random.generate()) + text("review_percentage", "87") +
                  text("community_hub_visible", "1") + text("community_visible_stats", "1");
        return result;
    }

    QByteArray associations()
    {
        return tree("0", text("type", "developer") + text("name", words(3))) +
               tree("1", text("type", "publisher") + text("name", words(2)));
    }

    QByteArray supportedLanguages()
    {
        QByteArray result;
        for (const char *const name : {"english", "german", "french", "spanish", "schinese", "russian", "japanese"}) {
            if (isOneOf(3))
                result +=
                    tree(name, text("supported", "true") + text("full_audio", "true") + text("subtitles", "true"));
        }
        return result;
    }

    QByteArray listed(const QList<QByteArray> &names)
    {
        QByteArray result;
        for (const QByteArray &name : names) {
            if (isOneOf(2))
                result += integer(name, 1);
        }
        return result;
    }

    QByteArray tags()
    {
        QByteArray result;
        for (int i = m_random.bounded(6); i > 0; --i)
            result += integer(QByteArray::number(i), m_random.bounded(30000u));
        return result;
    }

    QByteArray extended()
    {
        QByteArray result = text("developer", words(3)) + text("publisher", words(2)) +
                            text("homepage", "http://www.example.com/games/" + words(1).toLower());
        if (isOneOf(3)) {
            QByteArray list;
            for (int i = 1 + m_random.bounded(15); i > 0; --i)
                list += QByteArray::number(m_random.bounded(2000000)) + ',';
            result += text("listofdlc", list) + text("dlcavailableonstore", "1");
        }
        return result + text("sourcegame", "default") + text("validoslist", "windows,macos,linux");
    }

    QByteArray config(const QByteArray &name)
    {
        QByteArray launches;
        for (int i = 1 + m_random.bounded(3); i > 0; --i) {
            launches +=
                tree(QByteArray::number(i), text("executable", "bin\\" + words(1) + QByteArray::number(i) + ".exe") +
                                                (isOneOf(2) ? text("arguments", "-windowed -novid") : QByteArray()) +
                                                text("description", "Play " + name) + text("type", "default") +
                                                tree("config", text("oslist", "windows") + text("osarch", "64")));
        }
        return text("installdir", name) + tree("launch", launches) + text("contenttype", "3") +
               integer("steamcontrollertemplateindex", 1);
    }

    QByteArray depots(quint32 id)
    {
        QByteArray result;
        for (quint32 i = 1 + m_random.bounded(8u); i > 0; --i) {
            const QByteArray size = QByteArray::number(m_random.generate64() >> 30);
            QByteArray depot = tree("config", text("oslist", "windows") + text("osarch", "64")) +
                               tree("manifests", tree("public", text("gid", QByteArray::number(m_random.generate64())) +
                                                                    text("size", size) + text("download", size)));
            QByteArray encrypted;
            if (isOneOf(2)) {
                for (const char *const branch : {"encrypted_beta", "encrypted_preview"})
                    encrypted += tree(branch, text("encrypted_gid_2", hash().toHex().first(32)) +
                                                  text("encrypted_size_2", hash().toHex().first(32)));
                depot += tree("encryptedmanifests", encrypted);
            }
            result += tree(QByteArray::number(id + i), depot + text("maxsize", size));
        }
        return result + tree("branches", branches());
    }

    QByteArray branches()
    {
        QByteArray result;
        for (const char *const name : {"public", "public_beta", "experimental_branch", "previous_version"}) {
            result += tree(name, text("buildid", QByteArray::number(m_random.bounded(9000000))) +
                                     text("description", words(4)) + text("pwdrequired", "1") +
                                     text("timeupdated", QByteArray::number(1600000000 + m_random.bounded(100000000))));
        }
        return result;
    }

    QRandomGenerator m_random;
};
