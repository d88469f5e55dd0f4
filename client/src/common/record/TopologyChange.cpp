// A CPU going off or on line, and its 22-byte stored record:
//   u64 timestamp, u32 action, u16 logical CPU, u16 core, u16 package, i32 module id.
// The action's name isn't stored; reading sets it from the action.

#include <cstddef>
#include <ostream>

#include "vantrell/plugin/Logging.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/record/TopTree.h"

namespace pwr {

// The driver's layout, which the constructor reads field by field.
static_assert(offsetof(vr_driver_topology_change, timestamp) == 0, "driver record layout");
static_assert(offsetof(vr_driver_topology_change, action) == 8, "driver record layout");
static_assert(offsetof(vr_driver_topology_change, logicalProcessorId) == 12, "driver record layout");
static_assert(offsetof(vr_driver_topology_change, coreId) == 14, "driver record layout");
static_assert(offsetof(vr_driver_topology_change, packageId) == 16, "driver record layout");

namespace {

const char* actionNameOf(uint32_t action) {
    switch (action) {
        case CPU_ACTION_OFFLINE:
            return "OFFLINE";
        case CPU_ACTION_ONLINE_PREPARE:
            return "ONLINE PREPARE";
        case CPU_ACTION_ONLINE:
            return "ONLINE";
        default:
            return "NOP";
    }
}

// Reads one field, or logs its warning and the record's.
template <typename T>
bool readField(Serializer& serializer, unsigned long long (Serializer::*read)(T&), T& value,
               const char* warning) {
    if ((serializer.*read)(value) != 0) {
        return true;
    }
    VR_LOG(2, "%s", warning);
    VR_LOG(2, "WARNING: error extracting topology changes!\n");
    return false;
}

}  // namespace

TopologyChange::TopologyChange() : actionName(actionNameOf(CPU_ACTION_NOP)) {}

TopologyChange::TopologyChange(const vr_driver_topology_change& change, unsigned long long coresPerModule)
    : timestamp(change.timestamp),
      action(static_cast<cpu_action>(change.action)),
      logicalProcessorId(change.logicalProcessorId),
      coreId(change.coreId),
      packageId(change.packageId),
      moduleId(coresPerModule == 0 ? -1 : static_cast<int32_t>(change.coreId / coresPerModule)),
      actionName(actionNameOf(change.action)) {}

void TopologyChange::serialize(Serializer& serializer) const {
    serializer.write_uint64(timestamp);
    serializer.write_uint32(action);
    serializer.write_uint16(logicalProcessorId);
    serializer.write_uint16(coreId);
    serializer.write_uint16(packageId);
    serializer.write_int32(moduleId);
}

int TopologyChange::deserialize(Serializer& serializer) {
    uint32_t actionNumber = 0;
    if (!readField(serializer, &Serializer::read_uint64, timestamp,
                   "WARNING: couldn't extract timestamp for topology change!\n") ||
        !readField(serializer, &Serializer::read_uint32, actionNumber,
                   "WARNING: couldn't extract type for topology change!\n")) {
        return -1;
    }
    action = static_cast<cpu_action>(actionNumber);
    actionName = actionNameOf(actionNumber);
    if (!readField(serializer, &Serializer::read_uint16, logicalProcessorId,
                   "WARNING: couldn't extract cpu id for topology change!\n") ||
        !readField(serializer, &Serializer::read_uint16, coreId,
                   "WARNING: couldn't extract core id for topology change!\n") ||
        !readField(serializer, &Serializer::read_uint16, packageId,
                   "WARNING: couldn't extract pkg id for topology change!\n") ||
        !readField(serializer, &Serializer::read_int32, moduleId,
                   "WARNING: couldn't extract module id for topology change!\n")) {
        return -1;
    }
    return 0;
}

std::ostream& operator<<(std::ostream& out, const TopologyChange& change) {
    out << "Top Change:" << std::endl;
    out << "\ttsc = " << change.getTimestamp() << std::endl;
    out << "\ttype = " << change.getActionName() << std::endl;
    out << "\tlogicalProcID = " << change.getLogicalProcessorID() << std::endl;
    out << "\tcoreID = " << change.getCoreID() << std::endl;
    out << "\tmoduleID = " << change.getModuleID() << std::endl;
    out << "\tpkgID = " << change.getPackageID() << std::endl;
    return out;
}

}  // namespace pwr
