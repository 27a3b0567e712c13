// One object of a class, made at first use and there until the process ends or the library is unloaded. It is never
// destroyed, so that a message written while the process winds down still finds its log.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>

namespace kv7base {

/// Guards the making of a singleton.
class CSyncObj
{
public:
    virtual ~CSyncObj() = default;
    virtual void lock() = 0;
    virtual void unlock() = 0;
};

class CMutexLock final : public CSyncObj
{
public:
    void lock() override { m_mutex.lock(); }
    void unlock() override { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

/// Guard of objects that are made before a second thread could ask.
class CNoLock final : public CSyncObj
{
public:
    void lock() override {}
    void unlock() override {}
};

/// Keeps the object in the library's own data, so that an unloaded library leaves nothing on the heap. Create is called
/// once.
template <class T>
struct CStaticStorage
{
    [[nodiscard]] static T* Create()
    {
        alignas(T) static std::byte room[sizeof(T)];
        return ::new (room) T();
    }
};

template <class T, template <class> class Storage, class Sync>
class CSingletonHolder
{
public:
    [[nodiscard]] static T& Instance()
    {
        T* instance = s_instance.load(std::memory_order_acquire);
        return instance != nullptr ? *instance : Make();
    }

private:
    static T& Make()
    {
        const std::lock_guard<CSyncObj> guard(s_sync);
        T* instance = s_instance.load(std::memory_order_relaxed);
        if (instance == nullptr) {
            instance = Storage<T>::Create();
            s_instance.store(instance, std::memory_order_release);
        }
        return *instance;
    }

    static constinit inline std::atomic<T*> s_instance{nullptr};
    static constinit inline Sync s_sync{};
};

} // namespace kv7base
