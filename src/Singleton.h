#pragma once

#include <XS.h>

#include <QtCore/QMutex>

#include <functional>

/**
 * The one instance of a class in this process.
 *
 * The first call builds it, on the caller's thread; the clean-up handed to XS::initSingleton deletes it, after which a
 * further call would build another. Calls from several threads give the same object. The constructor of `T` must not
 * ask for its own instance.
 */
template<typename T>
class Singleton
{
public:
    static T *instance(const std::function<T *(QObject *)> &factory = {})
    {
        const QMutexLocker lock(&mutex());
        if (!s_instance) {
            s_instance = factory ? factory(nullptr) : new T(nullptr);
            XS::initSingleton(s_instance, &Singleton::cleanUp);
        }
        return s_instance;
    }

private:
    static QMutex &mutex()
    {
        static QMutex mutex;
        return mutex;
    }

    static void cleanUp()
    {
        const QMutexLocker lock(&mutex());
        delete s_instance;
        s_instance = nullptr;
    }

    static inline T *s_instance = nullptr;
};
