#pragma once

#include "FakeCalls.h"
#include "platform/ShellLinks.h"

#include <QtCore/QHash>

#include <atomic>
#include <memory>
#include <utility>

/** What a link file gives; what is not set can't be had. */
struct FakeLink
{
    bool loads = true;
    bool resolves = true;
    std::optional<QString> idListPath = std::nullopt;
    std::optional<QString> rawPath = std::nullopt;
    std::optional<QString> displayName = std::nullopt;
    std::optional<QString> description = std::nullopt;
    std::optional<QString> arguments = std::nullopt;
    std::optional<QString> workingDirectory = std::nullopt;

    /** A link as most are. */
    static FakeLink to(const QString &target, const QString &name, const QString &args = QString())
    {
        FakeLink link;
        link.idListPath = target;
        link.displayName = name;
        link.arguments = args;
        return link;
    }
};

/** A shell with the links that a test gives it, which tells the calls it receives. Set up while no source runs. */
class FakeLinks final : public KvPlatform::ShellLinks
{
public:
    explicit FakeLinks(std::shared_ptr<FakeCalls> calls)
        : m_calls(std::move(calls))
    {}

    bool creates = true;
    QHash<QString, FakeLink> links; ///< By native path.

    /** Link objects that have not been given back. */
    int living() const { return m_living; }

    std::unique_ptr<KvPlatform::ShellLink> create() const override
    {
        m_calls->add(QStringLiteral("create"));
        return creates ? std::make_unique<Object>(*this) : nullptr;
    }

    std::optional<QString> displayName(const QString &nativePath) const override
    {
        m_calls->add(QLatin1String("displayName ") + nativePath);
        return links.value(nativePath).displayName;
    }

private:
    class Object final : public KvPlatform::ShellLink
    {
    public:
        explicit Object(const FakeLinks &shell)
            : m_shell(shell)
        {
            ++m_shell.m_living;
        }

        ~Object() override { --m_shell.m_living; }

        Object(const Object &) = delete;
        Object &operator=(const Object &) = delete;

        bool load(const QString &nativePath) override
        {
            tell(QLatin1String("load ") + nativePath);
            const auto found = m_shell.links.constFind(nativePath);
            if (found != m_shell.links.cend())
                m_link = *found;
            return found != m_shell.links.cend() && m_link.loads;
        }

        bool resolve(quint32 flags) override
        {
            tell(QLatin1String("resolve ") + QString::number(flags, 16));
            return m_link.resolves;
        }

        std::optional<QString> idListPath() const override { return tell("idListPath", m_link.idListPath); }
        std::optional<QString> rawPath() const override { return tell("rawPath", m_link.rawPath); }
        std::optional<QString> description() const override { return tell("description", m_link.description); }
        std::optional<QString> arguments() const override { return tell("arguments", m_link.arguments); }
        std::optional<QString> workingDirectory() const override
        {
            return tell("workingDirectory", m_link.workingDirectory);
        }

    private:
        void tell(const QString &call) const { m_shell.m_calls->add(call); }

        std::optional<QString> tell(const char *call, const std::optional<QString> &answer) const
        {
            tell(QString(QLatin1String(call)));
            return answer;
        }

        const FakeLinks &m_shell;
        FakeLink m_link;
    };

    std::shared_ptr<FakeCalls> m_calls;
    mutable std::atomic<int> m_living{0};
};
