#pragma once

#include "FakeFiles.h"
#include "FakeIcons.h"
#include "FakeLinks.h"
#include "FakePackages.h"
#include "FakeRegistry.h"
#include "FakeSession.h"
#include "FakeVersions.h"
#include "FakeWatches.h"
#include "KvSecurity.h"
#include "platform/Platform.h"
#include "platform/Tokens.h"

/** Gives the session user's token if a test wants it to, and counts the tokens that are still open. */
class FakeTokens final : public KvPlatform::Tokens
{
public:
    static constexpr quint32 ConsoleSession = 7;

    bool hasSessionToken = false;

    int openTokens() const { return *m_open; }

    KvPlatform::HandleResult sessionUserToken(quint32 session) const override
    {
        if (!hasSessionToken || session != ConsoleSession)
            return {KvPlatform::NativeHandle(), 1314};
        ++*m_open;
        return {KvPlatform::NativeHandle(m_open.get(), [open = m_open](void *) { --*open; }), 0};
    }

private:
    std::shared_ptr<std::atomic<int>> m_open = std::make_shared<std::atomic<int>>(0);
};

/**
 * A computer of fakes, in force while it lives. One at a time, on the main thread; no source may run any more at its
 * end.
 */
struct FakePlatform
{
    static QString commonMenu() { return QStringLiteral("C:\\Common\\Programs"); }
    static QString userMenu() { return QStringLiteral("C:\\Users\\kim\\Programs"); }

    const std::shared_ptr<FakeCalls> calls = std::make_shared<FakeCalls>();
    const std::shared_ptr<FakeEnvironment> environment = std::make_shared<FakeEnvironment>(calls);
    const std::shared_ptr<FakeFiles> files = std::make_shared<FakeFiles>();
    const std::shared_ptr<FakeFolders> folders = std::make_shared<FakeFolders>();
    const std::shared_ptr<FakeIcons> icons = std::make_shared<FakeIcons>(calls);
    const std::shared_ptr<FakeLinks> links = std::make_shared<FakeLinks>(calls);
    const std::shared_ptr<FakePackages> packages = std::make_shared<FakePackages>(calls);
    const std::shared_ptr<FakeRegistryStore> registry = std::make_shared<FakeRegistryStore>();
    const std::shared_ptr<FakeSession> session = std::make_shared<FakeSession>();
    const std::shared_ptr<FakeTokens> tokens = std::make_shared<FakeTokens>();
    const std::shared_ptr<FakeVersions> versions = std::make_shared<FakeVersions>(calls);
    const std::shared_ptr<FakeWatches> watches = std::make_shared<FakeWatches>();

    FakePlatform()
    {
        const auto platform = std::make_shared<KvPlatform::Platform>();
        platform->environment = environment;
        platform->files = files;
        platform->folders = folders;
        platform->icons = icons;
        platform->links = links;
        platform->packages = packages;
        platform->registry = registry;
        platform->session = session;
        platform->tokens = tokens;
        platform->versions = versions;
        platform->watches = watches;
        session->signIn(QStringLiteral("kim"), FakeSession::sid('k'), QStringLiteral("S-1-5-7"));
        session->number = FakeTokens::ConsoleSession;
        session->elevated = false;
        KvPlatform::Platform::setCurrent(platform);
        KvSecurity::forget();
        folders->ofProcess.insert(KvPlatform::Folder::CommonPrograms, commonMenu());
        folders->ofToken.insert(KvPlatform::Folder::Programs, userMenu());
    }

    ~FakePlatform()
    {
        KvPlatform::Platform::setCurrent(nullptr);
        KvSecurity::forget();
    }

    FakePlatform(const FakePlatform &) = delete;
    FakePlatform &operator=(const FakePlatform &) = delete;

    /** Puts a link into the common Start Menu; the program exists and can be started. */
    void addLink(const QString &name, const QString &target, const QString &arguments = QString())
    {
        const QString file = QStringLiteral("%1\\%2-%3.lnk").arg(commonMenu(), name).arg(links->links.size());
        addLinkFile(file, FakeLink::to(target, name, arguments));
        files->addProgram(target);
    }

    /** Puts a link file into the common Start Menu. */
    void addLinkFile(const QString &nativePath, const FakeLink &link)
    {
        links->links.insert(nativePath, link);
        files->links[commonMenu()].append(QString(nativePath).replace(QLatin1Char('\\'), QLatin1Char('/')));
    }

    /** Takes all programs away again. */
    void removePrograms()
    {
        files->links.clear();
        packages->packages.clear();
    }
};
