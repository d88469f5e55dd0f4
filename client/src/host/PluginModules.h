#pragma once

// The plug-in modules of the host: every "<name>.so" of one directory, loaded in name order with
// dlopen, made through its vrCreatePlugin and given sids 1, 2, ... in that order. A module that can't
// be loaded or lacks either entry point is skipped with one line on standard error. Not copyable.

#include <string>
#include <vector>

#include <vantrell/VantrellCore.h>

namespace vantrell {

class PluginModules {
  public:
    PluginModules() = default;
    ~PluginModules() { unloadAll(); }
    PluginModules(PluginModules const&) = delete;
    PluginModules& operator=(PluginModules const&) = delete;

    // Loads the modules of `directory`; the number loaded.
    int loadDirectory(std::string const& directory);
    // Destroys the plug-in of `plugin`'s module and unloads it.
    void unload(Plugin* plugin);
    // Destroys every plug-in and unloads every module, in reverse order of loading.
    void unloadAll();

    std::vector<CollectorPlugin*> collectors() const { return kind<CollectorPlugin>(); }
    std::vector<MetricPlugin*> metrics() const { return kind<MetricPlugin>(); }
    std::vector<WriterPlugin*> writers() const { return kind<WriterPlugin>(); }
    std::vector<Plugin*> all() const { return kind<Plugin>(); }

  private:
    struct Module {
        std::string name;
        void* handle = nullptr;
        Plugin* plugin = nullptr;
        void (*destroy)(Plugin*) = nullptr;
    };

    template <class T>
    std::vector<T*> kind() const {
        std::vector<T*> found;
        for (Module const& module : modules) {
            if (T* plugin = dynamic_cast<T*>(module.plugin)) {
                found.push_back(plugin);
            }
        }
        return found;
    }
    static void close(Module& module);

    std::vector<Module> modules;
};

}  // namespace vantrell
