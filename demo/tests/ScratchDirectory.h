#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

// A directory of its own, removed when it goes out of scope, so that tests
// can run side by side.
class ScratchDirectory {
public:
    ScratchDirectory()
        : m_path(testing::TempDir() + "quorvan-demo-" + std::to_string(getpid()) + "-" + std::to_string(++s_made)) {
        std::filesystem::create_directories(m_path);
    }
    ~ScratchDirectory() { std::filesystem::remove_all(m_path); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    static inline int s_made = 0;
    std::string m_path;
};
