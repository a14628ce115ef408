#pragma once

#include <QMutex>
#include <QMutexLocker>

#include <atomic>

/// Returns the one object behind `instance`, created without a parent on the first call. Threads
/// that race on that call get the same object; later calls take no lock.
template<typename T>
T *singletonInstance(std::atomic<T *> &instance, QMutex &mutex)
{
    T *object = instance.load(std::memory_order_acquire);
    if (object)
        return object;

    const QMutexLocker locker(&mutex);
    object = instance.load(std::memory_order_acquire);
    if (!object) {
        object = new T;
        instance.store(object, std::memory_order_release);
    }
    return object;
}
