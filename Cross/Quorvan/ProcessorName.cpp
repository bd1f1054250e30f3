// The readable processor name: vendor and generation from the CPUID vendor
// text, base family and base model, followed by ":f=<family>,m=<model>".
// Family/model pairs that are not listed stay "unknown" on purpose.

#include <cstdio>
#include <cstring>

#include "ProcessorInfo.h"
#include "ProcessorProbe.h"

namespace {

constexpr int kAnyFamily = -1;
constexpr unsigned kAnyModel = 0xFFFF;

constexpr unsigned Models(unsigned first, unsigned last) {
    return ((2u << last) - 1) & ~((1u << first) - 1);
}
constexpr unsigned Model(unsigned model) { return 1u << model; }

struct NameRow {
    int family;       // kAnyFamily matches every family
    unsigned models;  // bit m set: model m matches
    const char* name;
};

constexpr NameRow kAmd[] = {
    {4, kAnyModel, "AMD Am486"},
    {5, Models(0, 3), "AMD K5"},
    {5, Models(6, 7), "AMD K6"},
    {5, Model(8), "AMD K6-2"},
    {5, Models(9, 15), "AMD K6-3"},
    {6, Model(1) | Model(2) | Model(4) | Model(6) | Model(8) | Model(10), "AMD Athlon"},
    {6, Model(3) | Model(7), "AMD Duron"},
    {15, Model(4) | Model(7) | Model(8) | Model(11) | Model(12) | Model(15), "AMD Athlon 64"},
    {15, Model(5), "AMD Athlon 64 FX"},
};

constexpr NameRow kIntel[] = {
    {4, Models(0, 1), "INTEL 486DX"},
    {4, Model(2), "INTEL 486SX"},
    {4, Model(3), "INTEL 486DX2"},
    {4, Model(4), "INTEL 486SL"},
    {4, Model(5), "INTEL 486SX2"},
    {4, Model(7), "INTEL 486DX2E"},
    {4, Model(8), "INTEL 486DX4"},
    {5, Models(1, 3), "INTEL Pentium"},
    {5, Model(4), "INTEL Pentium-MMX"},
    {6, Model(1), "INTEL Pentium-Pro"},
    {6, Model(3) | Model(5), "INTEL Pentium-II"},
    {6, Model(6), "INTEL Celeron"},
    {6, Models(7, 11), "INTEL Pentium-III"},
    {15, Models(0, 3), "INTEL Pentium-IV"},
};

constexpr NameRow kCyrix[] = {{kAnyFamily, kAnyModel, "Cyrix"}};
constexpr NameRow kCentaur[] = {{kAnyFamily, kAnyModel, "Centaur"}};
constexpr NameRow kTransmeta[] = {{kAnyFamily, kAnyModel, "Transmeta Crusoe"}};

struct Vendor {
    const char* text;
    const NameRow* rows;
    unsigned rowCount;
};

template <unsigned N>
constexpr Vendor MakeVendor(const char* text, const NameRow (&rows)[N]) {
    return {text, rows, N};
}

constexpr Vendor kVendors[] = {
    MakeVendor("AuthenticAMD", kAmd),       MakeVendor("GenuineIntel", kIntel),
    MakeVendor("CyrixInstead", kCyrix),     MakeVendor("CentaurHauls", kCentaur),
    MakeVendor("GenuineTMx86", kTransmeta),
};

bool Matches(const NameRow& row, int family, int model) {
    if (row.family != kAnyFamily && row.family != family) return false;
    if (row.models == kAnyModel) return true;
    return model >= 0 && model < 16 && ((row.models >> model) & 1);
}

const char* Lookup(const char* vendorId, int family, int model) {
    for (const Vendor& vendor : kVendors) {
        if (std::strncmp(vendorId, vendor.text, 12) != 0) continue;
        for (unsigned r = 0; r < vendor.rowCount; ++r)
            if (Matches(vendor.rows[r], family, model)) return vendor.rows[r].name;
        return "unknown";
    }
    return "unknown";
}

}  // namespace

void ProcessorProbe::NameProcessor(_processor_info* record, int family, int model) {
    // Formatted into a buffer of its own: the name it starts from may come
    // from the same field it is written to.
    char name[sizeof record->cpuName];
    std::snprintf(name, sizeof name, "%s:f=%d,m=%d", Lookup(record->vendorId, family, model),
                  family, model);
    std::memcpy(record->cpuName, name, std::strlen(name) + 1);
}
