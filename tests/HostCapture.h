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

// Thrown by dbFatalfAux, once the report is kept, for a host whose fatal
// handler does not return.
struct HostAbort {};

namespace HostCapture {
const std::vector<std::string>& Traces();
const std::vector<HostReport>& Reports();
// Forgets everything and lets dbFatalfAux return again.
void Clear();
// Until the next Clear(), dbFatalfAux throws HostAbort.
void AbortOnFatal();
}  // namespace HostCapture
