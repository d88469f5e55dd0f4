#pragma once

// The text rules of the OpenMetrics exposition format that the prom writer needs, apart from any
// table: names after Prometheus conventions, units with their base-unit suffix and scale, escaping of
// label values and help texts, and the sample value text. Pure functions, usable from any thread.

#include <string>
#include <vector>

namespace vantrell::plugins::openmetrics {

// Lower case letters, digits and single underscores: "C-state residency" -> "cstate_residency",
// "Total # of samples" -> "total_of_samples". A hyphen after a one-letter word joins ("C-state",
// "P-state"); any other run of non-alphanumerics is one underscore; none at either end. May be empty.
std::string slug(const std::string& text);

// A column title split into its base and the units in its last parentheses: "Min (MHz)" -> "Min",
// "MHz". Without units, `units` is empty and `base` the whole title.
void splitUnits(const std::string& title, std::string& base, std::string& units);

// The base unit of a unit text and the factor that takes a value there: "%" -> ratio, 0.01; "msec" ->
// seconds, 0.001; "MHz" -> hertz, 1e6; "mW" -> watts, 0.001; "oC" -> celsius, 1; "/s" -> per_second;
// "count" -> no suffix. False for units it doesn't know (the value then stays as it is).
bool baseUnit(const std::string& units, std::string& suffix, double& scale);

// `text` with each byte that doesn't begin a well-formed UTF-8 sequence replaced by U+FFFD: the format
// is UTF-8, and names that come from the machine need not be.
std::string validUtf8(const std::string& text);

// Escapes backslash, double quote and line feed, as label values and HELP texts require, after
// validUtf8.
std::string escape(const std::string& text);

// `value` with 15 significant digits; "NaN", "+Inf", "-Inf" for the special values.
std::string formatValue(double value);

// Whether `name` is a valid metric name ([a-zA-Z_:][a-zA-Z0-9_:]*) or label name
// ([a-zA-Z_][a-zA-Z0-9_]*, not beginning with "__").
bool isMetricName(const std::string& name);
bool isLabelName(const std::string& name);

}  // namespace vantrell::plugins::openmetrics
