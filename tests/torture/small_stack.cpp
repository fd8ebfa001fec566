#include <pthread.h>

#include <filesystem>

#include "basekit2/bag_io.h"
#include "support/temp_directory.h"
#include "vesta2/vesta2.h"

namespace torture {

int useSmallStack();

/// Groups in each other as deep as they may be, opened, copied and deleted with little stack.
int useSmallStack() {
    const support::TempDirectory directory;
    basekit2::variant_bag_t bag;
    bag.put_bag("vesta").put("key", "value");
    std::string place = directory / "p";
    for (int i = 0; i < 60; ++i, place += "/e") {
        std::filesystem::create_directories(place);
        basekit2::save_variant_bag(bag, place + "/e.zentorexp");
    }
    const auto work = [](void* innermost) -> void* {
        const auto result =
            vesta2::ResultDirectoryManager::get(static_cast<char*>(innermost), nullptr, true);
        const bool isDone = result && result->getParent() &&
                            result->duplicate((result->getPath() + std::string("-2")).c_str()) &&
                            result->remove();
        return isDone ? nullptr : innermost;
    };
    place.replace(place.rfind("/e"), 2, "/r");
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, std::size_t{256} * 1024);
    pthread_t thread{};
    void* failed = &thread;
    if (::pthread_create(&thread, &attributes, work, place.data()) == 0) {
        ::pthread_join(thread, &failed);
    }
    return failed ? 1 : 0;
}

}  // namespace torture
