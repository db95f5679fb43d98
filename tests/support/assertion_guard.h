// Fails the test when a TvAssert fires that it did not announce. Assertions
// log and go on, so without this a broken invariant passes silently.
#pragma once

#include <gtest/gtest.h>

#include "diagnostics/assertions.h"

class AssertionGuard {
public:
    AssertionGuard() : before_(assertionCount()) {}
    ~AssertionGuard() { check(); }
    AssertionGuard(const AssertionGuard&) = delete;
    AssertionGuard& operator=(const AssertionGuard&) = delete;

    // The case provokes `count` more assertions on purpose.
    void expect(unsigned long count) { expected_ += count; }
    unsigned long fired() const { return assertionCount() - before_; }
    // Checks now and starts counting afresh.
    void check()
    {
        EXPECT_EQ(fired(), expected_) << "assertions fired (see the process log)";
        before_ = assertionCount();
        expected_ = 0;
    }

private:
    unsigned long before_;
    unsigned long expected_ = 0;
};
