#pragma once

// The host's memory service. Every module that links it constructs one
// MMOverloads with its own module handle at load time, so the host can route
// that module's allocations; the object lives until the module unloads.

#include "HostExport.h"

class QUORVAN_HOST_API MMOverloads {
public:
    explicit MMOverloads(void* module);
    ~MMOverloads();
    MMOverloads(const MMOverloads&) = delete;
    MMOverloads& operator=(const MMOverloads&) = delete;

    void* module() const { return m_module; }

private:
    void* m_module;
};

class QUORVAN_HOST_API MMAPIHook {
public:
    // The handle of the loaded module that contains `address`.
    static void* ModuleFromAddress(void* address);
};
