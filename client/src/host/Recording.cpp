#include "Recording.h"

#include <algorithm>

namespace vantrell {

// Only rows: a table's head carries no values, and its titles come again with each row.
int TableRecorder::writeMessage(const pwr::TableMessage& table) {
    if (table.getTableMessageType() == pwr::TableMessageType::NO_DATA) {
        return 0;
    }
    std::deque<std::string> titles;
    std::deque<std::string> values;
    getColumnTitles(table, titles);
    getRowValues(table, values);
    const std::string unit = table.getQuantity() != nullptr ? table.getQuantity()->toUnitsString() : "";
    file.appendTableRow(table.getTitle(), unit, {titles.begin(), titles.end()},
                        {values.begin(), values.end()});
    return 0;
}

StoredPlan readPlan(store::ResultReader& reader) {
    StoredPlan plan;
    reader.forEachRecord([&](std::unique_ptr<pwr::Metadata> record) {
        auto const* message = dynamic_cast<pwr::MsgMetadata const*>(record.get());
        if (message == nullptr) {
            plan.otherRecords.push_back(std::move(record));
            return;
        }
        const std::string& feature = message->getCapName();
        if (std::find(plan.features.begin(), plan.features.end(), feature) == plan.features.end()) {
            plan.features.push_back(feature);
        }
        plan.messages[feature].push_back(std::make_unique<pwr::InputMsg>(
            message->getMsgName(), message->getPluginID(), message->getMetricID(), message->getMsgID()));
    });
    return plan;
}

}  // namespace vantrell
