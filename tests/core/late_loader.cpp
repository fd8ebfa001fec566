/// Loads the library when it already runs, as an application with plug-ins does: what it
/// constructed before is destroyed after everything that the library is made of. Usage: late_loader
/// LIBRARY

#include <dlfcn.h>
#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <future>
#include <thread>

namespace {

using SetStatus = bool (*)(std::int32_t);
using GetStatus = std::int32_t (*)();
using ToString = const char* (*)(std::int32_t);

struct Library {
    SetStatus setStatus = nullptr;
    GetStatus getStatus = nullptr;
    ToString toString = nullptr;

    void fail(const char* when) const {
        for (const std::int32_t code : {4, 16}) {
            setStatus(code);
            if (getStatus() != code) {
                std::printf("%s: the status is lost\n", when);
            }
        }
        std::printf("%s: %s\n", when, toString(4));
        std::fflush(stdout);
    }
    ~Library() { fail("exit"); }
};
Library library;

template <class Function>
void find(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(handle, name));
}

}  // namespace

int main(int, char** argv) {
    void* handle = ::dlopen(argv[1], RTLD_NOW);
    if (!handle) {
        std::puts(::dlerror());
        return 1;
    }
    find(handle, "_ZN6vesta29setStatusENS_7error_tE", library.setStatus);
    find(handle, "_ZN6vesta29getStatusEv", library.getStatus);
    find(handle, "_ZN6vesta28toStringENS_7error_tE", library.toString);
    // A thread that used the library outlives its last user, and uses it even while it ends.
    std::promise<void> used;
    std::promise<void> closed;
    std::thread thread([&] {
        pthread_key_t key = 0;
        ::pthread_key_create(&key, [](void*) { library.fail("thread"); });
        ::pthread_setspecific(key, &key);
        library.setStatus(4);
        used.set_value();
        closed.get_future().wait();
    });
    used.get_future().wait();
    ::dlclose(handle);
    closed.set_value();
    thread.join();
    return 0;
}
