#pragma once

#include "platform/Registry.h"

namespace KvPlatform {

/**
 * The computer's registry, through QSettings in its native format.
 *
 * Each call opens and closes the key afresh, which also flushes what it wrote. May be called from any thread. Refused
 * writes change nothing. QSettings itself may warn of them, and of a key that vanishes while it is listed.
 */
class WinRegistry final : public Registry
{
public:
    bool contains(const QString &key, const QString &name) const override;
    QVariant value(const QString &key, const QString &name, const QVariant &defaultValue) const override;
    void setValue(const QString &key, const QString &name, const QVariant &value) override;
    void remove(const QString &key, const QString &name) override;
    QStringList childGroups(const QString &key) const override;
    QStringList allKeys(const QString &key) const override;
};

} // namespace KvPlatform
