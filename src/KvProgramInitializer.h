#pragma once

#include "kvprogram_export.h"

#include <QtCore/QObject>

/**
 * Makes the module's types known to QML.
 *
 * A host calls init() once, on the thread of its QML engine and before it loads QML that imports `KvProgram` 1.0. The
 * module's resources need no call: they are there as soon as the library is loaded.
 */
class KVPROGRAM_EXPORT KvProgramInitializer : public QObject
{
    Q_OBJECT

public:
    explicit KvProgramInitializer(QObject *parent);
    ~KvProgramInitializer() override;

    /**
     * Registers the singleton `KvProgramContext`, the type `KvAppSetting` and the uncreatable type `ProgramInfo` under
     * the URI `KvProgram`, version 1.0. Creates no object. A second call repeats the registrations.
     */
    static void init();

    /**
     * The one instance of the process, built by the first call, on that call's thread. The module itself doesn't need
     * it. May be called from any thread; owned by the module and deleted when the application object ends.
     */
    static KvProgramInitializer *instance();

private:
    static void registerQmlTypes();
};
