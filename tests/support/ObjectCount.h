#pragma once

#include <QtCore/QObject>

#include <atomic>

// Qt's hooks for debugging tools; the places in the table are those of qhooks_p.h, which keeps them for such tools.
extern Q_CORE_EXPORT quintptr qtHookData[];

/** Counts the objects that come and go while it lives, on all threads. One at a time. */
class ObjectCount
{
public:
    ObjectCount()
    {
        s_balance = 0;
        qtHookData[AddHook] = reinterpret_cast<quintptr>(&ObjectCount::add);
        qtHookData[RemoveHook] = reinterpret_cast<quintptr>(&ObjectCount::remove);
    }

    ~ObjectCount()
    {
        qtHookData[AddHook] = 0;
        qtHookData[RemoveHook] = 0;
    }

    ObjectCount(const ObjectCount &) = delete;
    ObjectCount &operator=(const ObjectCount &) = delete;

    /** How many more there are than at the start. */
    int balance() const { return s_balance; }

private:
    static constexpr int AddHook = 3;
    static constexpr int RemoveHook = 4;

    static void add(QObject *) { ++s_balance; }
    static void remove(QObject *) { --s_balance; }

    static inline std::atomic<int> s_balance{0};
};
