#pragma once

// The test programs are the host: they define the debug service themselves
// and keep every report and trace line for the tests to look at.

#include <string>
#include <vector>

struct HostReport {
    std::string file;
    int line;
    std::string message;
};

namespace HostCapture {
const std::vector<std::string>& Traces();
const std::vector<HostReport>& Reports();
void Clear();
}  // namespace HostCapture
