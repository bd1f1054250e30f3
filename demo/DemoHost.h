#pragma once

#include <string>

// The demo is the host: it provides the debug service that Quorvan reports
// through, remembers the start-up trace line and counts misuse reports.
namespace DemoHost {
const std::string& TraceLine();
int Reports();
}
