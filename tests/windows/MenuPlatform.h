#pragma once

#include "platform/Folders.h"
#include "platform/Packages.h"
#include "platform/Platform.h"
#include "platform/Registry.h"
#include "platform/ShellLinks.h"

#include <QtCore/QTemporaryDir>

#include <atomic>
#include <functional>

/** Start Menus in folders of the test's own. An empty path is an unknown folder. Change them between scans only. */
class MenuFolders final : public KvPlatform::Folders
{
public:
    std::optional<QString> path(KvPlatform::Folder folder, const KvPlatform::NativeHandle &) const override
    {
        const QString path = folder == KvPlatform::Folder::CommonPrograms ? common
                             : folder == KvPlatform::Folder::Programs     ? user
                                                                          : QString();
        return path.isEmpty() ? std::nullopt : std::optional<QString>(path);
    }

    QString common;
    QString user;
};

/** The shell's links, with a function that is called before each of them is made, on the source's thread. */
class WatchedLinks final : public KvPlatform::ShellLinks
{
public:
    explicit WatchedLinks(std::shared_ptr<KvPlatform::ShellLinks> links)
        : m_links(std::move(links))
    {}

    std::unique_ptr<KvPlatform::ShellLink> create() const override
    {
        const int number = ++m_count;
        if (onCreate)
            onCreate(number);
        return m_links->create();
    }

    std::optional<QString> displayName(const QString &nativePath) const override
    {
        return m_links->displayName(nativePath);
    }

    /** The number of links made so far. */
    int count() const { return m_count; }

    /** Gets the number of the link, counted from 1. Change it between scans only. */
    std::function<void(int)> onCreate;

private:
    std::shared_ptr<KvPlatform::ShellLinks> m_links;
    mutable std::atomic<int> m_count{0};
};

/**
 * This computer, but with two empty Start Menus, no packages and no registry, as the platform in force while it lives.
 * So what a scan finds is known on every computer, and nobody's shortcuts change. One at a time, on the main thread.
 */
class MenuPlatform
{
public:
    MenuPlatform()
    {
        const auto platform = std::make_shared<KvPlatform::Platform>(*KvPlatform::createPlatform());
        links = std::make_shared<WatchedLinks>(platform->links);
        folders->common = path(QStringLiteral("common"));
        folders->user = path(QStringLiteral("user"));
        platform->folders = folders;
        platform->links = links;
        platform->packages = std::make_shared<KvPlatform::Packages>();
        platform->registry = std::make_shared<KvPlatform::Registry>();
        KvPlatform::Platform::setCurrent(platform);
    }

    ~MenuPlatform() { KvPlatform::Platform::setCurrent(nullptr); }

    MenuPlatform(const MenuPlatform &) = delete;
    MenuPlatform &operator=(const MenuPlatform &) = delete;

    /** The path of something in the temporary folder that also holds the menus "common" and "user". */
    QString path(const QString &name) const { return m_folder.filePath(name); }

    const std::shared_ptr<MenuFolders> folders = std::make_shared<MenuFolders>();
    std::shared_ptr<WatchedLinks> links;

private:
    QTemporaryDir m_folder;
};
