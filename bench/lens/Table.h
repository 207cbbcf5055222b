// The table that bench_lens prints.
#pragma once

#include "lens/Measurement.h"

#include <string>
#include <vector>

namespace lentora::bench {

/// One magnifier, or nobody, and what was measured of it.
struct Column {
    std::string name;
    std::string setting;
    Result result;
};

/// Prints a measure to a line and a column to a magnifier. The first column is nobody; the others
/// are compared with the second and the third, the bare clients.
void printTable(const std::vector<Column>& columns);

} // namespace lentora::bench
