#pragma once

// The test programs are the host: they define the debug service themselves
// and keep every report and trace line for the tests to look at.

#include <string>
#include <vector>

#include <host/HostExport.h>

struct HostReport {
    std::string file;
    int line;
    std::string message;
};

// Thrown by dbFatalfAux, once the report is kept, for a host whose fatal
// handler does not return.
struct HostAbort {};

// Exported where the capture is a host library of its own (Windows).
namespace HostCapture {
QUORVAN_HOST_API const std::vector<std::string>& Traces();
QUORVAN_HOST_API const std::vector<HostReport>& Reports();
// Forgets everything and lets dbFatalfAux return again.
QUORVAN_HOST_API void Clear();
// Until the next Clear(), dbFatalfAux throws HostAbort.
QUORVAN_HOST_API void AbortOnFatal();
}  // namespace HostCapture
