// Construction and destruction of the module's static objects. The compiler
// registers the destructor of each constructed object with atexit; in a DLL
// those must run when this module unloads, not when the process ends, so the
// module keeps a list of its own instead of using the C library's.

#include "StaticObjects.h"

#include <stdlib.h>

#include "InitializerTable.h"

namespace {

struct Destructor {
    void (*run)();
    Destructor* next;
};

Destructor* g_destructors = nullptr;  // the last one registered first

}  // namespace

extern "C" int atexit(void (*run)()) {
    auto* entry = static_cast<Destructor*>(malloc(sizeof(Destructor)));
    if (!entry) return -1;
    *entry = {run, g_destructors};
    g_destructors = entry;
    return 0;
}

void StaticObjects::Construct() {
    for (const Initializer* entry = kInitializersBegin; entry < kInitializersEnd; ++entry) {
        if (*entry) (*entry)();  // the linker may pad the table with zeros
    }
}

void StaticObjects::Destroy() {
    while (Destructor* entry = g_destructors) {
        g_destructors = entry->next;
        entry->run();
        free(entry);
    }
}
