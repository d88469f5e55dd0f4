#include "PluginModules.h"

#include <dirent.h>
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>

namespace vantrell {

int PluginModules::loadDirectory(std::string const& directory) {
    std::vector<std::string> names;
    if (DIR* dir = opendir(directory.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 3 && name.compare(name.size() - 3, 3, ".so") == 0) {
                names.push_back(name);
            }
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    int loaded = 0;
    for (std::string const& name : names) {
        const std::string path = directory + "/" + name;
        Module module{name.substr(0, name.size() - 3)};
        module.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (module.handle == nullptr) {
            std::fprintf(stderr, "vantrell: plug-in %s not loaded: %s\n", path.c_str(), dlerror());
            continue;
        }
        auto create = reinterpret_cast<Plugin* (*)()>(dlsym(module.handle, "vrCreatePlugin"));
        module.destroy = reinterpret_cast<void (*)(Plugin*)>(dlsym(module.handle, "vrDestroyPlugin"));
        module.plugin = create != nullptr && module.destroy != nullptr ? create() : nullptr;
        if (module.plugin == nullptr) {
            std::fprintf(stderr, "vantrell: plug-in %s not loaded: it makes no plug-in\n", path.c_str());
            dlclose(module.handle);
            continue;
        }
        module.plugin->setSID(static_cast<int>(modules.size()) + 1);
        modules.push_back(module);
        ++loaded;
    }
    return loaded;
}

void PluginModules::close(Module& module) {
    if (module.plugin != nullptr) {
        module.destroy(module.plugin);
        module.plugin = nullptr;
    }
    if (module.handle != nullptr) {
        dlclose(module.handle);
        module.handle = nullptr;
    }
}

void PluginModules::unload(Plugin* plugin) {
    auto found =
        std::find_if(modules.begin(), modules.end(), [&](Module const& m) { return m.plugin == plugin; });
    if (found != modules.end()) {
        close(*found);
        modules.erase(found);
    }
}

void PluginModules::unloadAll() {
    while (!modules.empty()) {
        close(modules.back());
        modules.pop_back();
    }
}

}  // namespace vantrell
