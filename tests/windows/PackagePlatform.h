#pragma once

#include "FakeSession.h"
#include "KvProgramContext_p.h"
#include "KvSecurity.h"
#include "MenuPlatform.h"
#include "packageserver/PackageServer.h"
#include "platform/win/runtime/Factories.h"

#include <windows.h>

/**
 * This computer with the test server's packages, two empty Start Menus and a session of the test's own, as the platform
 * in force while it lives. One at a time, on the main thread.
 */
class PackagePlatform
{
public:
    explicit PackagePlatform(bool isElevated = false)
    {
        const auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::Platform::current());
        session->signIn(QStringLiteral("kim"), FakeSession::sid('k'), QStringLiteral("S-1-5-7"));
        session->elevated = isElevated;
        platform->session = session;
        platform->packages = KvPlatform::createPlatform()->packages;
        KvPlatform::Platform::setCurrent(platform);
        KvSecurity::forget();
        KvSecurity::isElevated(); // So that its line stands in no test's log.
        forgetCurrentUser();
    }

    ~PackagePlatform()
    {
        KvSecurity::forget();
        forgetCurrentUser();
        KvPlatform::Runtime::releaseFactories();
    }

    PackagePlatform(const PackagePlatform &) = delete;
    PackagePlatform &operator=(const PackagePlatform &) = delete;

    /** The server, if this Windows loads it for the package classes; null on any other Windows. */
    static PackageServer *findServer()
    {
        const HMODULE module = LoadLibraryW(L"kvpackageserver.dll");
        if (!module)
            return nullptr;
        const auto function = reinterpret_cast<PackageServerFunction *>(
            reinterpret_cast<void *>(GetProcAddress(module, "kvPackageServer")));
        PackageServer *const server = function ? function() : nullptr;
        if (!server || !server->setScript("{}"))
            return nullptr;
        try {
            KvPlatform::Runtime::activationFactory(KvPlatform::Runtime::RuntimeClass::User, IID_IUnknown);
        } catch (const KvPlatform::hresult_error &) {
            return nullptr;
        }
        KvPlatform::Runtime::releaseFactories();
        return server->takeCalls().isEmpty() ? nullptr : server;
    }

    const std::shared_ptr<FakeSession> session = std::make_shared<FakeSession>();

private:
    const MenuPlatform m_menus;
};
