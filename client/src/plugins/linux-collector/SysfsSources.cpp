// The sources of /sys: one small file per value, opened once and re-read in place.

#include <map>
#include <vector>

#include "FileReading.h"
#include "Sources.h"

namespace vantrell::linuxcollector {

namespace {

using vantrell::plugins::kSystemCpu;
using vantrell::plugins::SampleWriter;

// One value: an open file and the entry it becomes.
struct Channel {
    uint16_t cpu;
    std::string key;
    NumberFile file;
    bool reported = false;
};

// Appends a channel for `path` when it opens; false when it doesn't.
bool addChannel(std::vector<Channel>& channels, uint16_t cpu, std::string key, const std::string& path) {
    FileHandle file;
    if (!file.open(path)) {
        return false;
    }
    channels.push_back({cpu, std::move(key), NumberFile(path, std::move(file))});
    return true;
}

template <bool Signed>
void readChannel(Channel& channel, SampleWriter& out) {
    uint64_t value = 0;
    NumberFile::Status status;
    if constexpr (Signed) {
        int64_t signedValue = 0;
        status = channel.file.readSigned(signedValue);
        value = static_cast<uint64_t>(signedValue);  // two's complement, as the protocol says
    } else {
        status = channel.file.readUnsigned(value);
    }
    if (status == NumberFile::Status::Ok) {
        out.add(channel.cpu, channel.key, value);
    } else {
        reportOnce(channel.reported, status == NumberFile::Status::ReadError ? "can't read" : "no number in",
                   channel.file.getPath());
    }
}

// Keys that occur more than once get the suffix of their channel, so that no two entries of a
// message share a key.
void makeKeysUnique(std::vector<Channel>& channels, const std::vector<std::string>& suffixes) {
    std::map<std::pair<uint16_t, std::string>, int> counts;
    for (const Channel& channel : channels) {
        ++counts[{channel.cpu, channel.key}];
    }
    for (size_t i = 0; i < channels.size(); ++i) {
        if (counts[{channels[i].cpu, channels[i].key}] > 1) {
            channels[i].key += suffixes[i];
        }
    }
}

std::string textOr(const std::string& path, const std::string& fallback) {
    std::string text;
    return readSmallText(path, text) && !text.empty() ? text : fallback;
}

// Values of files that hold unsigned numbers; the CPUs they cover.
class ChannelSource : public Source {
  public:
    void read(SampleWriter& out, uint8_t) override {
        for (Channel& channel : channels) {
            readChannel<false>(channel, out);
        }
    }
    std::set<uint16_t> coveredCpus() const override {
        std::set<uint16_t> cpus;
        for (const Channel& channel : channels) {
            cpus.insert(channel.cpu);
        }
        return cpus;
    }

  protected:
    bool found(const std::string& path, const char* what, std::string& problem) {
        if (channels.empty()) {
            problem = std::string("no ") + what + " below " + path;
        }
        return !channels.empty();
    }
    std::vector<Channel> channels;
};

// cpu<N>/cpuidle/state<M>/{name,time}: key = state name, value = microseconds in the state.
class CpuidleSource : public ChannelSource {
  public:
    bool open(const std::string& path, std::string& problem) override {
        for (const NumberedEntry& cpu : listNumbered(path, "cpu")) {
            const std::string idle = path + "/" + cpu.name + "/cpuidle";
            for (const NumberedEntry& state : listNumbered(idle, "state")) {
                const std::string dir = idle + "/" + state.name;
                addChannel(channels, static_cast<uint16_t>(cpu.number), textOr(dir + "/name", state.name),
                           dir + "/time");
            }
        }
        return found(path, "cpuidle state times", problem);
    }
};

// cpu<N>/cpufreq/scaling_cur_freq: key "cur", value kHz.
class CpufreqSource : public ChannelSource {
  public:
    bool open(const std::string& path, std::string& problem) override {
        for (const NumberedEntry& cpu : listNumbered(path, "cpu")) {
            addChannel(channels, static_cast<uint16_t>(cpu.number), "cur",
                       path + "/" + cpu.name + "/cpufreq/scaling_cur_freq");
        }
        return found(path, "cpufreq scaling_cur_freq", problem);
    }
};

// Temperatures in millidegrees Celsius, signed, for the whole machine.
class TemperatureSource : public ChannelSource {
  public:
    bool isSigned() const override { return true; }
    void read(SampleWriter& out, uint8_t) override {
        for (Channel& channel : channels) {
            readChannel<true>(channel, out);
        }
    }
};

// thermal_zone<N>/{type,temp}: key = zone type ("x86_pkg_temp"); "<type>-<N>" when types repeat.
class ThermalSource : public TemperatureSource {
  public:
    bool open(const std::string& path, std::string& problem) override {
        std::vector<std::string> suffixes;
        for (const NumberedEntry& zone : listNumbered(path, "thermal_zone")) {
            const std::string dir = path + "/" + zone.name;
            if (addChannel(channels, kSystemCpu, textOr(dir + "/type", zone.name), dir + "/temp")) {
                suffixes.push_back("-" + std::to_string(zone.number));
            }
        }
        makeKeysUnique(channels, suffixes);
        return found(path, "thermal zone temperatures", problem);
    }
};

// hwmon<N>/temp<M>_input: key = "<device name>/<label>" ("coretemp/Core 0"), the label "temp<M>" when
// the sensor has none; "-<N>" is added when two devices give the same key.
class HwmonSource : public TemperatureSource {
  public:
    bool open(const std::string& path, std::string& problem) override {
        std::vector<std::string> suffixes;
        for (const NumberedEntry& device : listNumbered(path, "hwmon")) {
            const std::string dir = path + "/" + device.name;
            const std::string name = textOr(dir + "/name", device.name);
            for (const NumberedEntry& input : listNumbered(dir, "temp", true)) {
                const std::string sensor = "temp" + std::to_string(input.number);
                if (input.name != sensor + "_input") {
                    continue;
                }
                if (addChannel(channels, kSystemCpu,
                               name + "/" + textOr(dir + "/" + sensor + "_label", sensor),
                               dir + "/" + input.name)) {
                    suffixes.push_back("-" + std::to_string(device.number));
                }
            }
        }
        makeKeysUnique(channels, suffixes);
        return found(path, "hwmon temperature inputs", problem);
    }
};

// intel-rapl:<P>[:<D>]/{name,energy_uj,max_energy_range_uj}: key = domain name ("package-0", "core"),
// value = cumulative microjoules; BEGIN adds "max:<key>" = the range after which the counter wraps.
// A sub-domain name that several packages share is prefixed by its package's name ("package-1/core").
class PowercapSource : public ChannelSource {
  public:
    bool open(const std::string& path, std::string& problem) override {
        std::vector<std::string> zones = listPrefixed(path, "intel-rapl:");
        std::vector<std::string> suffixes;
        std::map<std::string, std::string> names;  // zone directory -> domain name
        for (const std::string& zone : zones) {
            const std::string dir = path + "/" + zone;
            names[zone] = textOr(dir + "/name", zone);
            if (addChannel(channels, kSystemCpu, names[zone], dir + "/energy_uj")) {
                const size_t parent = zone.rfind(':');
                const std::string package = zone.substr(0, parent);
                suffixes.push_back(package == "intel-rapl" ? "-" + zone : "");
                prefixes.push_back(package == "intel-rapl" ? "" : package);
                ranges.push_back(dir + "/max_energy_range_uj");
            }
        }
        for (size_t i = 0; i < channels.size(); ++i) {
            if (!prefixes[i].empty() && names.count(prefixes[i])) {
                prefixes[i] = names[prefixes[i]] + "/";
            }
        }
        uniqueKeys(suffixes);
        if (channels.empty() && !zones.empty()) {
            problem = "no readable RAPL energy_uj below " + path + " (reading energy needs root)";
            return false;
        }
        return found(path, "RAPL energy counters", problem);
    }

    void read(SampleWriter& out, uint8_t trigger) override {
        ChannelSource::read(out, trigger);
        if (trigger == 0) {  // BEGIN
            for (Channel& range : rangeChannels) {
                readChannel<false>(range, out);
            }
        }
    }

  private:
    void uniqueKeys(const std::vector<std::string>& suffixes) {
        std::map<std::string, int> counts;
        for (const Channel& channel : channels) {
            ++counts[channel.key];
        }
        for (size_t i = 0; i < channels.size(); ++i) {
            if (counts[channels[i].key] > 1) {
                channels[i].key =
                    prefixes[i].empty() ? channels[i].key + suffixes[i] : prefixes[i] + channels[i].key;
            }
            addChannel(rangeChannels, kSystemCpu, "max:" + channels[i].key, ranges[i]);
        }
    }

    std::vector<std::string> prefixes;
    std::vector<std::string> ranges;
    std::vector<Channel> rangeChannels;
};

}  // namespace

std::unique_ptr<Source> makeCpuidleSource() {
    return std::make_unique<CpuidleSource>();
}
std::unique_ptr<Source> makeCpufreqSource() {
    return std::make_unique<CpufreqSource>();
}
std::unique_ptr<Source> makeThermalSource() {
    return std::make_unique<ThermalSource>();
}
std::unique_ptr<Source> makeHwmonSource() {
    return std::make_unique<HwmonSource>();
}
std::unique_ptr<Source> makePowercapSource() {
    return std::make_unique<PowercapSource>();
}

}  // namespace vantrell::linuxcollector
