/// The rows of the table that the README shows.
#pragma once

#include <string>
#include <vector>

#include "bench/job.h"
#include "bench/table.h"

namespace bench {

/// Writes them into the file in place of the table there, whose first line is the same. Raises
/// std::runtime_error where the file has none, cannot be written, or a row has not been measured.
void renewHeadlines(const std::string& file, const std::vector<Job>& jobs, const Times& times);

}  // namespace bench
