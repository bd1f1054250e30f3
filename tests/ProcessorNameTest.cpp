#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <Quorvan/Quorvan.h>

#include "../Cross/Quorvan/ProcessorProbe.h"

namespace {

std::string Name(const char* vendor, int family, int model) {
    _processor_info record;
    std::memset(&record, 0x3C, sizeof record);  // leftovers must not show
    std::memcpy(record.vendorId, vendor, std::min<std::size_t>(std::strlen(vendor) + 1, 13));
    ProcessorProbe::NameProcessor(&record, family, model);
    return record.cpuName;
}

bool In(int value, std::initializer_list<int> values) {
    for (int v : values)
        if (v == value) return true;
    return false;
}

// The published naming table, one vendor at a time.
std::string Amd(int f, int m) {
    if (f == 4) return "AMD Am486";
    if (f == 5 && m <= 3) return "AMD K5";
    if (f == 5 && In(m, {6, 7})) return "AMD K6";
    if (f == 5 && m == 8) return "AMD K6-2";
    if (f == 5 && m >= 9) return "AMD K6-3";
    if (f == 6 && In(m, {1, 2, 4, 6, 8, 10})) return "AMD Athlon";
    if (f == 6 && In(m, {3, 7})) return "AMD Duron";
    if (f == 15 && In(m, {4, 7, 8, 11, 12, 15})) return "AMD Athlon 64";
    if (f == 15 && m == 5) return "AMD Athlon 64 FX";
    return "unknown";
}

std::string Intel(int f, int m) {
    static const char* const family4[] = {"INTEL 486DX",  "INTEL 486DX",  "INTEL 486SX",
                                          "INTEL 486DX2", "INTEL 486SL",  "INTEL 486SX2",
                                          nullptr,        "INTEL 486DX2E", "INTEL 486DX4"};
    if (f == 4 && m <= 8 && family4[m]) return family4[m];
    if (f == 5 && m >= 1 && m <= 3) return "INTEL Pentium";
    if (f == 5 && m == 4) return "INTEL Pentium-MMX";
    if (f == 6 && m == 1) return "INTEL Pentium-Pro";
    if (f == 6 && In(m, {3, 5})) return "INTEL Pentium-II";
    if (f == 6 && m == 6) return "INTEL Celeron";
    if (f == 6 && m >= 7 && m <= 11) return "INTEL Pentium-III";
    if (f == 15 && m <= 3) return "INTEL Pentium-IV";
    return "unknown";
}

std::string Expected(const std::string& vendor, int f, int m) {
    std::string name = "unknown";
    if (vendor == "AuthenticAMD") name = Amd(f, m);
    if (vendor == "GenuineIntel") name = Intel(f, m);
    if (vendor == "CyrixInstead") name = "Cyrix";
    if (vendor == "CentaurHauls") name = "Centaur";
    if (vendor == "GenuineTMx86") name = "Transmeta Crusoe";
    return name + ":f=" + std::to_string(f) + ",m=" + std::to_string(m);
}

}  // namespace

TEST(ProcessorNameTest, EveryFamilyAndModelOfEveryVendor) {
    for (const char* vendor : {"AuthenticAMD", "GenuineIntel", "CyrixInstead", "CentaurHauls",
                               "GenuineTMx86", "NexGenDriven", "authenticamd", ""})
        for (int family = 0; family <= 16; ++family)
            for (int model = 0; model <= 15; ++model)
                ASSERT_EQ(Name(vendor, family, model), Expected(vendor, family, model))
                    << vendor << " family " << family << " model " << model;
}

// The vendor text is compared on its first 12 characters only, whatever
// follows them; the examples the naming rules give, and names of families
// and models beyond the table's range.
TEST(ProcessorNameTest, VendorPrefixAndOutOfRangeNumbers) {
    _processor_info record;
    std::memset(&record, 0, sizeof record);
    std::memcpy(record.vendorId, "GenuineIntelX", 13);  // no terminator in the field
    ProcessorProbe::NameProcessor(&record, 6, 5);
    EXPECT_STREQ(record.cpuName, "INTEL Pentium-II:f=6,m=5");

    EXPECT_EQ(Name("GenuineInte", 6, 3), "unknown:f=6,m=3");
    EXPECT_EQ(Name("AuthenticAMD", 5, 8), "AMD K6-2:f=5,m=8");
    EXPECT_EQ(Name("GenuineIntel", 15, 2), "INTEL Pentium-IV:f=15,m=2");
    EXPECT_EQ(Name("AuthenticAMD", 4, 99), "AMD Am486:f=4,m=99");
    EXPECT_EQ(Name("AuthenticAMD", 6, 17), "unknown:f=6,m=17");
    EXPECT_EQ(Name("CyrixInstead", -3, 200), "Cyrix:f=-3,m=200");
}
