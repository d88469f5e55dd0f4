#pragma once

// Umbrella header: everything the library exports.

#include "vantrell/Export.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"
