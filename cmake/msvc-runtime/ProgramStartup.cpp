// The entry point of a console program: arguments from msvcrt.dll, static
// objects around main, and msvcrt's exit, which flushes the streams.

#include <stdlib.h>

#include "StaticObjects.h"

namespace {
struct StartupInfo {
    int newMode;
};
}  // namespace

extern "C" int __getmainargs(int* argc, char*** argv, char*** environment, int expandWildcards,
                             StartupInfo* info);

int main(int argc, char** argv);

extern "C" void mainCRTStartup() {
    int argc = 0;
    char** argv = nullptr;
    char** environment = nullptr;
    StartupInfo info = {0};
    __getmainargs(&argc, &argv, &environment, 0, &info);

    StaticObjects::Construct();
    const int status = main(argc, argv);
    StaticObjects::Destroy();
    exit(status);
}
