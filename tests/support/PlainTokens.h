#pragma once

#include "formats/SteamAppInfo.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QList>
#include <QtCore/QString>

#include <algorithm>
#include <utility>

/** Tokens read byte by byte, in the plainest way; what the fast readers are held to. */
class PlainTokens
{
public:
    explicit PlainTokens(QByteArrayView bytes)
        : m_bytes(bytes)
    {}

    bool atEnd() const { return m_at == m_bytes.size(); }
    qsizetype position() const { return m_at; }

    QString next(bool wholeLine)
    {
        QString token;
        while (!atEnd()) {
            const char byte = m_bytes[m_at++];
            if (byte >= 0x20 && byte <= 0x7E)
                token += QLatin1Char(byte);
            else if (!wholeLine && !token.isEmpty())
                return token;
            else if (wholeLine && byte == '\r' && !atEnd() && m_bytes[m_at++] == '\n')
                return token;
        }
        return token;
    }

private:
    QByteArrayView m_bytes;
    qsizetype m_at = 0;
};

/** The sections of an app cache, found token by token. */
class PlainAppInfo
{
public:
    using Section = SteamAppInfo::Section;

    static QList<Section> read(QByteArrayView bytes) { return PlainAppInfo(bytes).m_ended; }

private:
    explicit PlainAppInfo(QByteArrayView bytes)
        : m_tokens(bytes)
    {
        for (next(); !m_token.isEmpty(); next()) {
            if (has("appinfo"))
                m_ended.append(std::exchange(m_section, {}));
            if (has("clienticon") && m_section.clientIcon.isEmpty()) {
                next();
                m_section.clientIcon = m_token;
            }
            if (has("name") && m_section.name.isEmpty()) {
                next();
                m_section.name = m_token;
            }
            if (has("executable"))
                nextExecutable();
            if (has("arguments"))
                nextExecutable();
        }
    }

    void next() { m_token = m_tokens.next(false); }
    bool has(const char *word) const { return m_token.indexOf(QLatin1String(word)) >= 0; }

    void nextExecutable()
    {
        next();
        if (!m_token.isEmpty() && !m_section.executables.contains(m_token) && has(".exe"))
            m_section.executables.append(m_token);
    }

    PlainTokens m_tokens;
    QString m_token;
    Section m_section;
    QList<Section> m_ended;
};

inline bool areEqual(const QList<SteamAppInfo::Section> &a, const QList<SteamAppInfo::Section> &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(), [](const auto &one, const auto &other) {
        return one.name == other.name && one.clientIcon == other.clientIcon && one.executables == other.executables;
    });
}
