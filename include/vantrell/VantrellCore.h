#pragma once

// Umbrella header: everything the library exports.

#include "vantrell/Export.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/platform/Platform.h"
#include "vantrell/plugin/Logger.h"
#include "vantrell/plugin/Logging.h"
#include "vantrell/plugin/PluginEnvironment.h"
#include "vantrell/plugin/PluginEnvironmentTypes.h"
#include "vantrell/record/Clock.h"
#include "vantrell/record/Serializer.h"
#include "vantrell/value/Attribute.h"
#include "vantrell/value/AttributeManager.h"
#include "vantrell/value/Data.h"
#include "vantrell/value/DataHandle.h"
#include "vantrell/value/DataHelper.h"
#include "vantrell/value/Description.h"
#include "vantrell/value/Formatter.h"
#include "vantrell/value/Quantity.h"
#include "vantrell/value/UniqueId.h"
