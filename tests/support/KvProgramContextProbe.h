#pragma once

#include "KvProgramContext_p.h"

/** Opens the catalogue's private members to tests. */
struct KvProgramContextProbe
{
    using Rule = KvProgramContext::Rule;
    using Rules = KvProgramContext::Rules;
    using Scan = KvProgramContext::Scan;

    /** A catalogue besides the process's own, on the calling thread, which has to be that of XDispatch::main. */
    static std::unique_ptr<KvProgramContext> create()
    {
        return std::unique_ptr<KvProgramContext>(new KvProgramContext(nullptr));
    }

    static const QList<KvRegistrySpy *> &registrySpies(const KvProgramContext &context)
    {
        return context.m_registrySpies;
    }
    static const Rules &rules(const KvProgramContext &context) { return *context.m_rules; }
    static std::shared_ptr<Scan> scan(const KvProgramContext &context) { return context.m_scan; }
    static XDispatch &dispatcher(const KvProgramContext &context) { return *context.m_dispatcher; }
    static bool isScanning(const KvProgramContext &context) { return context.m_scanning; }
    static QMap<QUrl, ProgramInfo *> &targetMap(KvProgramContext &context) { return context.m_targetMap; }
    static QList<KvAppSetting *> &gameApps(KvProgramContext &context) { return context.m_gameApps; }
    static QList<KvAppSetting *> &toolApps(KvProgramContext &context) { return context.m_toolApps; }
    static QList<ProgramInfo *> &allApps(KvProgramContext &context) { return context.m_allApps; }
    static const QList<QString> &preloadExecutables(const KvProgramContext &context)
    {
        return context.m_preloadExecutables;
    }
    static const QList<QString> &preloadNames(const KvProgramContext &context) { return context.m_preloadNames; }
    static const QList<KvGameAppInfo *> &gameAppsInfo(const KvProgramContext &context)
    {
        return context.m_gameAppsInfo;
    }
    static const QHash<QString, QString> &toolAppsFilter(const KvProgramContext &context)
    {
        return context.m_toolAppsFilter;
    }

    static void refreshShortcuts(KvProgramContext &context) { context.refreshShortcuts(); }

    static void onLoadApp(Scan &scan, ProgramInfo *app) { KvProgramContext::onLoadApp(scan, app); }
    static QList<ProgramInfo *> sortApps(const QList<ProgramInfo *> &apps) { return KvProgramContext::sortApps(apps); }

    static void loadAppsFromCommonStartMenu(Scan &scan) { KvProgramContext::loadAppsFromCommonStartMenu(scan); }
    static void loadAppsFromUserStartMenu(Scan &scan) { KvProgramContext::loadAppsFromUserStartMenu(scan); }
    static void loadAppsFromPackageManager(Scan &scan) { KvProgramContext::loadAppsFromPackageManager(scan); }
    static void loadAppsFromMetadata(Scan &scan) { KvProgramContext::loadAppsFromMetadata(scan); }

    static void filterToolApps(KvProgramContext &context) { context.filterToolApps(); }
    static void findGameApps(KvProgramContext &context) { context.findGameApps(); }
    static void parseGameApps(KvProgramContext &context, const QList<KvGameAppUtil *> &utils)
    {
        context.parseGameApps(utils);
    }
    static void deleteAppSettings(KvProgramContext &context) { context.deleteAppSettings(); }

    static bool isMatched(const ProgramInfo &app, const Rule &rule) { return KvProgramContext::isMatched(&app, rule); }
    static bool isLaunchable(const Scan &scan, const ProgramInfo &app)
    {
        return KvProgramContext::isLaunchable(scan, &app);
    }
    static bool isUninstaller(const ProgramInfo &app) { return KvProgramContext::isUninstaller(&app); }
    static bool isMeetingApp(const KvProgramContext &context, const ProgramInfo &app)
    {
        return context.isMeetingApp(&app);
    }
};
