#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

// A directory of its own, removed when it goes out of scope, so that tests
// can run side by side.
struct ScratchDirectory {
    static inline int made = 0;
    const std::string path = testing::TempDir() + "quorvan-demo-" + std::to_string(getpid()) + "-" +
                             std::to_string(++made);

    ScratchDirectory() { std::filesystem::create_directories(path); }
    ~ScratchDirectory() { std::filesystem::remove_all(path); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    std::string operator/(const std::string& name) const { return path + "/" + name; }
};
