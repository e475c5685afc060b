// One process-wide instance per class, made on first use: the base of the
// client's configuration and of its INI store.
#pragma once

#include <atomic>
#include <mutex>

// Threads: instance() may be called from any thread; creation is guarded so
// that two first calls at once still make one object. What the instance does
// afterwards is up to T. destroyInstance() must not race with users of the
// instance; it is meant for the end of the process and for tests.
//
// T derives from CSingleton<T> and befriends it when its constructor and
// destructor are private.
template <typename T>
class CSingleton {
public:
    CSingleton(const CSingleton&) = delete;
    CSingleton& operator=(const CSingleton&) = delete;

    static T* instance() {
        T* pInstance = s_pInstance.load(std::memory_order_acquire);
        if (pInstance == nullptr) {
            std::lock_guard<std::mutex> lock(s_creationMutex);
            pInstance = s_pInstance.load(std::memory_order_relaxed);
            if (pInstance == nullptr) {
                pInstance = new T();
                s_pInstance.store(pInstance, std::memory_order_release);
            }
        }
        return pInstance;
    }

    // The instance if there is one, without making it: for what runs while
    // the plug-in is unloaded, after its stop deleted the instance, when a
    // new one would never be deleted.
    static T* existingInstance() { return s_pInstance.load(std::memory_order_acquire); }

    // Deletes the instance, if any; the next instance() makes a new one. Tests
    // use this to read files they wrote with a fresh object.
    static void destroyInstance() {
        T* pInstance = nullptr;
        {
            std::lock_guard<std::mutex> lock(s_creationMutex);
            pInstance = s_pInstance.exchange(nullptr);
        }
        delete pInstance;
    }

protected:
    CSingleton() = default;
    ~CSingleton() { s_pInstance.store(nullptr); }

private:
    inline static std::atomic<T*> s_pInstance{nullptr};
    inline static std::mutex s_creationMutex;
};
