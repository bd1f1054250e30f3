#pragma once

#include <string>

// The demo is the host: it provides the debug service that Quorvan reports
// through, and remembers the start-up trace line.
namespace DemoHost {
const std::string& TraceLine();
}
