#pragma once

// Loads a reference plug-in module from $VR_PLUGIN_DIR (else the build's plugins directory) the way the host
// does: dlopen, vrCreatePlugin, and vrDestroyPlugin when the holder goes.

#include <dlfcn.h>

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "vantrell/plugin/Plugin.h"

namespace vrtest {

class LoadedPlugin {
  public:
    explicit LoadedPlugin(const std::string& module) {
        const char* dir = std::getenv("VR_PLUGIN_DIR");
#ifdef VR_TEST_PLUGIN_DIR
        const char* fallback = VR_TEST_PLUGIN_DIR;
#else
        const char* fallback = "plugins";
#endif
        const std::string path = std::string(dir != nullptr ? dir : fallback) + "/" + module + ".so";
        handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            ADD_FAILURE() << "can't load " << path << ": " << dlerror();
            return;
        }
        auto create = reinterpret_cast<Plugin* (*)()>(dlsym(handle, "vrCreatePlugin"));
        destroyFn = reinterpret_cast<void (*)(Plugin*)>(dlsym(handle, "vrDestroyPlugin"));
        if (create == nullptr || destroyFn == nullptr) {
            ADD_FAILURE() << path << " lacks vrCreatePlugin or vrDestroyPlugin";
            return;
        }
        plugin = create();
    }
    ~LoadedPlugin() {
        if (plugin != nullptr) {
            destroyFn(plugin);
        }
        if (handle != nullptr) {
            dlclose(handle);
        }
    }
    LoadedPlugin(const LoadedPlugin&) = delete;
    LoadedPlugin& operator=(const LoadedPlugin&) = delete;

    Plugin* get() const {
        return plugin;
    }
    template <class T>
    T* as() const {
        return dynamic_cast<T*>(plugin);
    }

  private:
    void* handle = nullptr;
    void (*destroyFn)(Plugin*) = nullptr;
    Plugin* plugin = nullptr;
};

}  // namespace vrtest
