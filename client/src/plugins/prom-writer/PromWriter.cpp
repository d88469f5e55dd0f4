#include "PromWriter.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "LinuxPluginProtocol.h"
#include "OpenMetrics.h"

namespace vantrell::plugins {
namespace {

namespace om = openmetrics;

constexpr char kSummary[] = " Summary";

// Column titles of the built-in accumulators that are statistics of the table's subject, and the
// word each adds to the metric name (none: the column is the subject itself).
const std::map<std::string, std::string> kStatistics = {
    {"residency", ""},
    {"average_rate", ""},
    {"total", ""},
    {"min", "min"},
    {"max", "max"},
    {"avg", "avg"},
    {"time_weighted_avg", "time_weighted_avg"},
    {"total_of_samples", "samples"},
    {"min_sampling_interval", "min_sampling_interval"},
    {"max_sampling_interval", "max_sampling_interval"},
    {"avg_sampling_interval", "avg_sampling_interval"},
};

bool numeric(const pwr::Data& data, double& out) {
    switch (data.getType()) {
        case pwr::DataType::INT: {
            long long value = 0;
            return data.toInt(value) == 0 && ((out = static_cast<double>(value)), true);
        }
        case pwr::DataType::UINT: {
            unsigned long long value = 0;
            return data.toUInt(value) == 0 && ((out = static_cast<double>(value)), true);
        }
        case pwr::DataType::REAL:
            return data.toReal(out) == 0;
        case pwr::DataType::STRING: {
            // Some tables carry their numbers as text ("Average Rate", "Total").
            std::string text;
            if (data.toString(text) != 0 || text.empty() ||
                std::isspace(static_cast<unsigned char>(text[0]))) {
                return false;
            }
            char* end = nullptr;
            errno = 0;
            out = std::strtod(text.c_str(), &end);
            return end == text.c_str() + text.size() && errno == 0;
        }
        default:
            return false;
    }
}

std::string topicOf(const std::string& title) {
    const size_t summary = title.find(kSummary);
    return summary == std::string::npos ? title : title.substr(0, summary);
}

}  // namespace

PromWriter::PromWriter() : WriterPlugin("vantrell-prom-writer") {
    addCapability(new pwr::WriterPluginCapability(
        {pwr::TABLE_CLASS_DEFAULT}, "prom",
        "Summary as OpenMetrics text for node_exporter's textfile collector", ".prom", false));
}

PromWriter::~PromWriter() {
    if (file != nullptr) {
        std::fclose(file);
        std::remove(temporaryPath.c_str());
    }
}

void PromWriter::notifyCommandlineParamsSet_i() {
    const std::string output = parseParams(getCommandlineParams())["output"];
    path = output.empty() ? "" : output + ".prom";
    // Beside the output, so that the rename stays on one file system; the collector reads only *.prom.
    temporaryPath = output.empty() ? "" : path + ".tmp";
}

int PromWriter::openOutput() {
    if (path.empty() || file != nullptr) {
        return 0;
    }
    file = std::fopen(temporaryPath.c_str(), "w");
    if (file == nullptr) {
        VR_LOG(1, "ERROR: prom writer can't create %s: %s\n", temporaryPath.c_str(), std::strerror(errno));
        return 1;
    }
    return 0;
}

int PromWriter::logicalCpu_i(const pwr::EntityHandle* entity) {
    return cpus.of(entity);
}

int PromWriter::cpuNamed_i(const std::string& name) {
    if (cpuNames.empty()) {
        for (const auto& [entity, cpu] : cpus.all()) {
            cpuNames[entity->getQualifiedName()] = cpu;
            cpuNames[entity->getName()] = cpu;
        }
    }
    const auto known = cpuNames.find(name);
    return known != cpuNames.end() ? known->second : -1;
}

// Names that two cells of a row share get "_2", "_3" ...: every label of a sample is kept.
void PromWriter::addLabel_i(Labels& labels, std::string name, const std::string& value) const {
    if (!om::isLabelName(name)) {
        name = "l_" + name;
    }
    std::string unique = name;
    for (int n = 2;
         std::any_of(labels.begin(), labels.end(), [&](const auto& l) { return l.first == unique; }); ++n) {
        unique = name + "_" + std::to_string(n);
    }
    labels.emplace_back(unique, value);
}

void PromWriter::entityLabel_i(Labels& labels, const pwr::EntityHandle* entity, const std::string& name) {
    if (entity == pwr::EntityHandle::getSystemHandle()) {
        return;  // the whole machine: a label would say nothing
    }
    const int cpu = logicalCpu_i(entity);
    if (cpu >= 0) {
        addLabel_i(labels, "cpu", std::to_string(cpu));
    } else {
        addLabel_i(labels, name, entity->getName());
    }
}

void PromWriter::readCell_i(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                            const pwr::DataHandle* field, bool shared, bool residency, Row& row) {
    const pwr::Data* value = nullptr;
    bool valid = false;
    const int status = entity != nullptr ? table.getFieldValue(entity, field, value, valid)
                                         : table.getFieldValue(field, value, valid);
    if (status != 0 || !valid || value == nullptr) {
        return;
    }
    std::string base;
    std::string units;
    om::splitUnits(field->getName(), base, units);
    std::string label = om::slug(base);
    if (value->getType() == pwr::DataType::HANDLE) {
        const pwr::DataHandle* handle = nullptr;
        if (value->toHandle(handle) != 0 || handle == nullptr) {
            return;
        }
        if (const auto* named = dynamic_cast<const pwr::EntityHandle*>(handle)) {
            row.total = row.total || (named->getName() == "Total" && logicalCpu_i(named) < 0);
            entityLabel_i(row.labels, named, label.empty() ? "entity" : label);
            return;
        }
        const bool state = handle->getHandleType() == pwr::DataHandleType::STATE || residency;
        if (label.empty() || (label.size() >= 5 && label.compare(label.size() - 5, 5, "state") == 0)) {
            label = state ? "state" : (label.empty() ? "descriptor" : label);
        }
        addLabel_i(row.labels, label, handle->getName());
        return;
    }
    double number = 0;
    if (!shared && numeric(*value, number)) {
        row.values.emplace_back(field->getName(), number);
        return;
    }
    // Shared cells are the key of a row (the value of a distribution table); text names the row.
    std::string text;
    value->toFormattedString(text);
    addLabel_i(row.labels, label.empty() ? "value" : label, text);
}

int PromWriter::writeMessage(const pwr::SystemMessage& message) {
    system = &message.getSystemMetadata();
    return 0;
}

// When the collection ran: what a fleet's alerts test to tell a stale file from a fresh one.
void PromWriter::addCollection_i() {
    if (system == nullptr || system->startTimeval == 0) {
        return;
    }
    addSample_i("vantrell_collection_start_time_seconds", "seconds",
                "Start of the collection, seconds since 1970", {},
                static_cast<double>(system->startTimeval) / 1e9);
    if (system->stopTimeval >= system->startTimeval) {
        addSample_i("vantrell_collection_duration_seconds", "seconds", "Length of the collection", {},
                    system->getCollectionDurationSec());
    }
}

int PromWriter::writeMessage(const pwr::TableMessage& table) {
    if (closed || table.getTableMessageType() == pwr::TableMessageType::NO_DATA) {
        return 0;  // a table's first push announces it; its rows follow
    }
    const bool residency = table.getTitle().find("Residency") != std::string::npos;
    Row shared;
    for (auto field = table.sharedFieldBegin(); field != table.sharedFieldEnd(); ++field) {
        readCell_i(table, nullptr, *field, true, residency, shared);
    }
    if (table.getEntityCount() == 0) {
        for (auto field = table.fieldBegin(); field != table.fieldEnd(); ++field) {
            readCell_i(table, nullptr, *field, false, residency, shared);
        }
        addRow_i(table, shared);
        return 0;
    }
    for (auto entity = table.entityBegin(); entity != table.entityEnd(); ++entity) {
        Row row;
        entityLabel_i(row.labels, *entity, "entity");
        for (const auto& [label, value] : shared.labels) {
            addLabel_i(row.labels, label, value);
        }
        row.total = shared.total;
        for (auto field = table.fieldBegin(); field != table.fieldEnd(); ++field) {
            readCell_i(table, *entity, *field, false, residency, row);
        }
        addRow_i(table, row);
    }
    return 0;
}

void PromWriter::addRow_i(const pwr::TableMessage& table, const Row& row) {
    if (row.total) {
        return;  // a sum of the other rows, which Prometheus forms itself
    }
    const std::string topic = topicOf(table.getTitle());
    const bool stateColumns = table.getTitle().find(" Summary: Residency") != std::string::npos;
    const std::string topicSlug = om::slug(topic).empty() ? "table" : om::slug(topic);
    for (const auto& [column, number] : row.values) {
        std::string base;
        std::string units;
        om::splitUnits(column, base, units);
        auto statistic = kStatistics.find(om::slug(base));
        Labels labels = row.labels;
        // A transposed residency table has a column per state: the state becomes a label, and the
        // series are those of the plain table.
        std::string help = topic + ": " + column;
        if (statistic == kStatistics.end() && stateColumns && !units.empty()) {
            addLabel_i(labels, "state", base);
            statistic = kStatistics.find("residency");
            help = topic + ": Residency (" + units + ")";
        }
        if (statistic == kStatistics.end()) {
            const std::string titleSlug = om::slug(table.getTitle());
            std::string name = "vantrell_" + (titleSlug.empty() ? "table" : titleSlug);
            // Distribution tables have a column per entity: a logical CPU there is a cpu label, and
            // the column's unit goes into the name as for any statistic.
            const int cpu = cpuNamed_i(base);
            std::string unit;
            double scale = 1.0;
            if (cpu < 0 || (!units.empty() && !om::baseUnit(units, unit, scale))) {
                addLabel_i(labels, "column", column);
                addSample_i(name, "", table.getTitle(), labels, number);
                continue;
            }
            addLabel_i(labels, "cpu", std::to_string(cpu));
            name += unit.empty() ? "" : "_" + unit;
            addSample_i(name, unit, table.getTitle(), labels, number * scale);
            continue;
        }
        std::string unit;
        double scale = 1.0;
        std::string suffix;
        if (!units.empty()) {
            // Units outside the known ones still part the names, so that two columns never collide.
            suffix = om::baseUnit(units, unit, scale) ? unit : om::slug(units);
        }
        // Residency is the subject of its table; the word stays in the name unless the title has it.
        std::string word = statistic->second;
        if (statistic->first == "residency" &&
            ("_" + topicSlug + "_").find("_residency_") == std::string::npos) {
            word = "residency";
        }
        std::string name = "vantrell_" + topicSlug;
        name += word.empty() ? "" : "_" + word;
        name += suffix.empty() ? "" : "_" + suffix;
        addSample_i(name, unit, help, labels, number * scale);
    }
}

void PromWriter::addSample_i(const std::string& name, const std::string& unit, const std::string& help,
                             Labels labels, double value) {
    auto at = familyIndex.find(name);
    if (at == familyIndex.end()) {
        at = familyIndex.emplace(name, families.size()).first;
        families.push_back(Family{name, unit, help, {}, {}});
    }
    Family& family = families[at->second];
    Labels key = labels;
    std::sort(key.begin(), key.end());
    if (family.series.insert(key).second) {
        family.samples.emplace_back(std::move(labels), value);
    }
}

std::string PromWriter::render_i() const {
    std::string text;
    for (const Family& family : families) {
        text += "# TYPE " + family.name + " gauge\n";
        if (!family.unit.empty()) {
            text += "# UNIT " + family.name + " " + family.unit + "\n";
        }
        // node_exporter reads the file with the classic text parser, which refuses \" in HELP, while
        // OpenMetrics wants it escaped: a quote in a title becomes an apostrophe, valid in both.
        std::string help = family.help;
        std::replace(help.begin(), help.end(), '"', '\'');
        text += "# HELP " + family.name + " " + om::escape(help) + "\n";
        for (const auto& [labels, value] : family.samples) {
            text += family.name;
            for (size_t i = 0; i < labels.size(); ++i) {
                text += (i == 0 ? "{" : ",") + labels[i].first + "=\"" + om::escape(labels[i].second) + "\"";
            }
            text += (labels.empty() ? " " : "} ") + om::formatValue(value) + "\n";
        }
    }
    return text + "# EOF\n";
}

int PromWriter::closeOutput() {
    if (closed) {
        return 0;
    }
    closed = true;
    addCollection_i();
    const std::string text = render_i();
    if (path.empty()) {
        return std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0 ? 1 : 0;
    }
    if (openOutput() != 0) {
        return 1;
    }
    bool failed = std::fwrite(text.data(), 1, text.size(), file) != text.size() || std::fflush(file) != 0 ||
                  fsync(fileno(file)) != 0;
    failed = std::fclose(file) != 0 || failed;
    file = nullptr;
    if (failed || std::rename(temporaryPath.c_str(), path.c_str()) != 0) {
        VR_LOG(1, "ERROR: prom writer couldn't write %s: %s\n", path.c_str(), std::strerror(errno));
        std::remove(temporaryPath.c_str());
        return 1;
    }
    return 0;
}

}  // namespace vantrell::plugins

VR_DECLARE_PLUGIN(vantrell::plugins::PromWriter)
