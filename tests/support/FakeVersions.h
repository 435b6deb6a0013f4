#pragma once

#include "FakeCalls.h"
#include "platform/VersionResources.h"

#include <QtCore/QHash>
#include <QtCore/QtEndian>

#include <memory>
#include <utility>

/** A version resource; its texts go by table and key, such as "040904b0\\ProductName". */
struct FakeVersion
{
    std::optional<QByteArray> translations = std::nullopt;
    QHash<QString, QString> texts = {};

    static QByteArray translation(quint16 language, quint16 codePage)
    {
        QByteArray pair(4, '\0');
        qToLittleEndian(language, pair.data());
        qToLittleEndian(codePage, pair.data() + 2);
        return pair;
    }

    /** One table in American English. */
    static FakeVersion of(const QHash<QString, QString> &byKey)
    {
        FakeVersion version;
        version.translations = translation(0x0409, 0x04B0);
        for (auto text = byKey.cbegin(); text != byKey.cend(); ++text)
            version.texts.insert(QLatin1String("040904b0\\") + text.key(), text.value());
        return version;
    }
};

/** Version resources by native path, which tells the calls that it receives. Set up while no source runs. */
class FakeVersions final : public KvPlatform::VersionResources
{
public:
    explicit FakeVersions(std::shared_ptr<FakeCalls> calls)
        : m_calls(std::move(calls))
    {}

    QHash<QString, FakeVersion> versions;
    quint16 language = 0x0409;

    std::unique_ptr<KvPlatform::VersionBlock> load(const QString &nativePath) const override
    {
        m_calls->add(QLatin1String("version ") + nativePath);
        const auto found = versions.constFind(nativePath);
        return found == versions.cend() ? nullptr : std::make_unique<Block>(*found);
    }

    quint16 userInterfaceLanguage() const override { return language; }

private:
    class Block final : public KvPlatform::VersionBlock
    {
    public:
        explicit Block(FakeVersion content)
            : m_content(std::move(content))
        {}

        std::optional<QByteArray> binary(const QString &subBlock) const override
        {
            return subBlock == QLatin1String("\\VarFileInfo\\Translation") ? m_content.translations : std::nullopt;
        }

        std::optional<KvPlatform::VersionText> text(const QString &subBlock) const override
        {
            const QString prefix = QStringLiteral("\\StringFileInfo\\");
            const auto found = m_content.texts.constFind(subBlock.mid(prefix.size()));
            if (!subBlock.startsWith(prefix) || found == m_content.texts.cend())
                return std::nullopt;
            return KvPlatform::VersionText{*found, static_cast<quint32>(found->size() + 1)};
        }

    private:
        FakeVersion m_content;
    };

    std::shared_ptr<FakeCalls> m_calls;
};
