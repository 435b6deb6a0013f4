#pragma once

#include "ByteWriter.h"

#include <QtCore/QList>
#include <QtCore/QString>

/**
 * Makes files in the shape of Steam's cache of app information: a header, then for each app a record with binary
 * numbers and a tree of keys and values, typed by one byte each.
 */
class SteamCacheBuilder
{
public:
    /** By the low byte of the number that opens the file. */
    enum Layout
    {
        NumberedSections = 0x26, ///< Until 2014: several trees for each app, each behind its number.
        OneTree = 0x27,
        TreeWithHash = 0x28,
        KeysApart = 0x29, ///< Since 2024: keys are numbers of names that stand at the file's end.
    };

    struct Launch
    {
        QByteArray executable;
        QByteArray arguments;
    };

    struct App
    {
        quint32 id = 0;
        QByteArray name; ///< As UTF-8.
        QByteArray icon;
        QList<Launch> launches;
    };

    explicit SteamCacheBuilder(Layout layout)
        : m_layout(layout)
    {}

    void add(const App &app) { m_apps.append(app); }

    QByteArray build() const
    {
        SteamCacheBuilder copy(*this);
        return copy.write();
    }

private:
    QByteArray write()
    {
        ByteWriter file;
        file.u32(0x07564400u + m_layout).u32(1);
        if (m_layout == KeysApart)
            file.u32(0).u32(0);
        for (const App &app : std::as_const(m_apps))
            file.bytes(record(app));
        file.u32(0);
        if (m_layout == KeysApart) {
            file.patchU32(8, file.size32());
            file.u32(static_cast<quint32>(m_keys.size()));
            for (const QByteArray &key : std::as_const(m_keys))
                file.bytes(key).u8(0);
        }
        return file.result();
    }

    QByteArray record(const App &app)
    {
        ByteWriter head;
        head.u32(2).u32(0x65A0B0C0).zeros(8).bytes(hash(app.id)).u32(app.id * 3);
        if (m_layout >= TreeWithHash)
            head.bytes(hash(app.id + 1));
        const QByteArray body = head.result() + trees(app);
        return ByteWriter().u32(app.id).u32(static_cast<quint32>(body.size())).bytes(body).result();
    }

    QByteArray trees(const App &app)
    {
        const QByteArray common = tree("common", commonOf(app));
        const QByteArray config = tree("config", text("installdir", "Folder") + launchTree(app));
        if (m_layout == NumberedSections) {
            // Each app's section is named once, by its first tree.
            return ByteWriter().u8(2).result() + tree("appinfo", number("appid", app.id)) +
                   ByteWriter().u8(3).result() + common + ByteWriter().u8(4).result() + config +
                   ByteWriter().u8(0).result();
        }
        return tree("appinfo", number("appid", app.id) + common + config) + ByteWriter().u8(8).result();
    }

    QByteArray commonOf(const App &app)
    {
        QByteArray common = text("name", app.name) + text("type", "Game");
        if (!app.icon.isEmpty())
            common += text("clienttga", QByteArray(40, 'b')) + text("clienticon", app.icon);
        return common + tree("associations", tree("0", text("type", "developer") + text("name", "Somebody")));
    }

    QByteArray launchTree(const App &app)
    {
        QByteArray launches;
        for (qsizetype i = 0; i < app.launches.size(); ++i) {
            const Launch &launch = app.launches.at(i);
            QByteArray entry = text("executable", launch.executable);
            if (!launch.arguments.isEmpty())
                entry += text("arguments", launch.arguments);
            launches += tree(QByteArray::number(i), entry + text("type", "default"));
        }
        return tree("launch", launches);
    }

    QByteArray key(const QByteArray &name)
    {
        if (m_layout != KeysApart)
            return name + '\0';
        if (!m_keys.contains(name))
            m_keys.append(name);
        return ByteWriter().u32(static_cast<quint32>(m_keys.indexOf(name))).result();
    }

    QByteArray tree(const QByteArray &name, const QByteArray &content) { return '\0' + key(name) + content + '\x08'; }
    QByteArray text(const QByteArray &name, const QByteArray &value) { return '\x01' + key(name) + value + '\0'; }

    QByteArray number(const QByteArray &name, quint32 value)
    {
        return '\x02' + key(name) + ByteWriter().u32(value).result();
    }

    /** Twenty bytes of which some are printable, as in a real hash. */
    static QByteArray hash(quint32 seed)
    {
        ByteWriter bytes;
        for (int i = 0; i < 5; ++i) {
            seed = seed * 1664525 + 1013904223;
            bytes.u32(seed);
        }
        return bytes.result();
    }

    Layout m_layout;
    QList<App> m_apps;
    QList<QByteArray> m_keys;
};
