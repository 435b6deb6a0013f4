#pragma once

#include "FakeCalls.h"
#include "platform/Environment.h"
#include "platform/Files.h"
#include "platform/Folders.h"

#include <QtCore/QHash>
#include <QtCore/QMap>
#include <QtCore/QSet>

#include <memory>
#include <utility>

/** Files that exist because a test says so. Paths are compared exactly. Set up while no source runs. */
class FakeFiles final : public KvPlatform::Files
{
public:
    QSet<QString> existing;            ///< Including the executable ones.
    QSet<QString> executable;          ///< A path may stand in here only, to show who asks for what.
    QHash<QString, QStringList> links; ///< By folder, the paths of the link files below it.
    mutable FakeGate gate;             ///< Each walk passes it before it gives a link.

    void addProgram(const QString &path)
    {
        existing.insert(path);
        executable.insert(path);
    }

    bool exists(const QString &path) const override { return existing.contains(path); }
    bool isExecutable(const QString &path) const override { return executable.contains(path); }

    std::unique_ptr<KvPlatform::LinkWalk> walkLinks(const QString &folder) const override
    {
        return std::make_unique<Walk>(links.value(folder), gate);
    }

private:
    class Walk final : public KvPlatform::LinkWalk
    {
    public:
        Walk(QStringList paths, FakeGate &door)
            : m_paths(std::move(paths))
            , m_gate(door)
        {}

        bool hasNext() const override { return m_at < m_paths.size(); }

        QString next() override
        {
            m_gate.pass();
            return m_paths.at(m_at++);
        }

    private:
        QStringList m_paths;
        FakeGate &m_gate;
        qsizetype m_at = 0;
    };
};

/** Folders by the way they are asked for: with the token of the console user, or without one. */
class FakeFolders final : public KvPlatform::Folders
{
public:
    QHash<KvPlatform::Folder, QString> ofProcess;
    QHash<KvPlatform::Folder, QString> ofToken;

    std::optional<QString> path(KvPlatform::Folder folder, const KvPlatform::NativeHandle &token) const override
    {
        const QHash<KvPlatform::Folder, QString> &paths = token ? ofToken : ofProcess;
        const auto found = paths.constFind(folder);
        return found == paths.cend() ? std::nullopt : std::optional<QString>(*found);
    }
};

/** Replaces the variables that it knows. */
class FakeEnvironment final : public KvPlatform::Environment
{
public:
    explicit FakeEnvironment(std::shared_ptr<FakeCalls> calls)
        : m_calls(std::move(calls))
    {}

    QMap<QString, QString> variables;

    QString expand(const QString &text, int capacity) const override
    {
        m_calls->add(QStringLiteral("expand %1 %2").arg(text).arg(capacity));
        QString result = text;
        for (auto variable = variables.cbegin(); variable != variables.cend(); ++variable)
            result.replace(QLatin1Char('%') + variable.key() + QLatin1Char('%'), variable.value());
        return result.left(capacity);
    }

private:
    std::shared_ptr<FakeCalls> m_calls;
};
