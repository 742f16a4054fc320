// Resets the fake platform before every test and checks after every test
// that each log line was written as a whole pair.
#include <gtest/gtest.h>

#include "fake_platform.h"

namespace fake {
bool pair_left_open();
}

namespace {
class FakePlatformListener : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo &) override { fake::reset(); }
    void OnTestEnd(const ::testing::TestInfo &info) override
    {
        if (fake::pair_left_open()) {
            fprintf(stderr, "%s.%s: a file sink line has no system sink twin\n",
                    info.test_suite_name(), info.name());
            failed = true;
        }
    }

public:
    bool failed = false;
};
} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    auto *listener = new FakePlatformListener;
    ::testing::UnitTest::GetInstance()->listeners().Append(listener);
    const int rc = RUN_ALL_TESTS();
    return rc != 0 || listener->failed ? 1 : 0;
}
