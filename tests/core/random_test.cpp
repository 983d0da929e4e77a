// The generator against the plain formula state * 41358 mod (2^31 - 1),
// computed in 64 bits where Schrage's form avoids them.
#include "core/random.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// Saves the generator's state and puts it back, so other tests see the
// sequence go on as if this one had not run.
class RandomTest : public ::testing::Test {
protected:
    void SetUp() override { saved_ = random_state(); }
    void TearDown() override { random_set_state(saved_); }

private:
    std::int32_t saved_ = 0;
};

std::int64_t plain_next(std::int64_t state) {
    return state * 41358 % 2147483647;
}

TEST_F(RandomTest, AgreesWithTheSixtyFourBitFormula) {
    // From the start, and from states at the ends of the range where
    // Schrage's intermediate result goes negative or stays just below 2^31.
    for (std::int64_t start : {std::int64_t{1234567}, std::int64_t{1}, std::int64_t{51923},
                               std::int64_t{51924}, std::int64_t{2147483646}}) {
        random_set_state(static_cast<std::int32_t>(start));
        std::int64_t expected = start;
        for (int i = 0; i < 200000; ++i) {
            expected = plain_next(expected);
            const std::int32_t got = random_next();
            ASSERT_EQ(got, expected) << "from " << start << " after " << i << " steps";
            ASSERT_GT(got, 0);
        }
    }
}

}  // namespace
