#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

// A directory of the running test's own, removed when the test is done, so
// that tests can run side by side.
class ScratchDirectory {
public:
    ScratchDirectory()
        : m_path(testing::TempDir() + "quorvan-demo-" + std::to_string(getpid()) + "-" +
                 testing::UnitTest::GetInstance()->current_test_info()->name()) {
        std::filesystem::create_directories(m_path);
    }
    ~ScratchDirectory() { std::filesystem::remove_all(m_path); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};
