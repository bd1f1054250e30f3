#pragma once

#include <gtest/gtest.h>

#include "VertexLayout.h"

// One implementation of the library, held from Initialize to Shutdown.
class Library {
public:
    explicit Library(Implementation implementation) {
        EXPECT_TRUE(Quorvan::Initialize(implementation == Implementation::Scalar, 6));
        m_quorvan = Quorvan::i();
    }
    ~Library() { Quorvan::Shutdown(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    Quorvan& operator*() { return *m_quorvan; }

private:
    Quorvan* m_quorvan;
};
