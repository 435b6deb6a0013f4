#pragma once

#include <memory>

/**
 * The border between what the catalogue decides and what the system does for it.
 *
 * Every interface here answers plain operations and decides nothing: orders, fallbacks, texts and log lines stand above
 * it. All operations may be called from any thread and block for as long as the system takes. Unless a function says
 * otherwise it neither logs nor throws, and a failure is an empty result. Each interface's own bodies are the safe
 * answer of a system that has nothing, so that a fake overrides only what its test needs.
 */
namespace KvPlatform {

class Environment;
class Files;
class Folders;
class Icons;
class Packages;
class ProcessTable;
class Processes;
class Registry;
class RegistryWatches;
class Session;
class ShellLinks;
class Tokens;
class VersionResources;

/** The operations of one computer, by subject. Never holds a null pointer once it is current. */
struct Platform
{
    /** Everything answered by the interfaces' own safe bodies. */
    Platform();

    std::shared_ptr<Environment> environment;
    std::shared_ptr<Files> files;
    std::shared_ptr<Folders> folders;
    std::shared_ptr<Icons> icons;
    std::shared_ptr<Packages> packages;
    std::shared_ptr<ProcessTable> processTable;
    std::shared_ptr<Processes> processes;
    std::shared_ptr<Registry> registry;
    std::shared_ptr<Session> session;
    std::shared_ptr<ShellLinks> links;
    std::shared_ptr<Tokens> tokens;
    std::shared_ptr<VersionResources> versions;
    std::shared_ptr<RegistryWatches> watches;

    /** The platform in force, made by createPlatform on first use. May be called from any thread. */
    static std::shared_ptr<const Platform> current();

    /**
     * Replaces the platform in force; null lets the next current() make the system's own anew. Whoever holds the former
     * one may go on using it. For tests, and for programs that choose their machine at run time.
     */
    static void setCurrent(std::shared_ptr<const Platform> platform);
};

/** The system's own platform. Defined once in each back-end; CMake chooses which is linked. */
std::shared_ptr<const Platform> createPlatform();

} // namespace KvPlatform
