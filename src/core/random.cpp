#include "core/random.h"

namespace {

// Schrage: modulus = multiplier * quotient + remainder, remainder < quotient.
constexpr std::int32_t quotient = 51924;
constexpr std::int32_t remainder = 10855;
static_assert(random_multiplier * quotient + remainder == random_modulus);

std::int32_t state = random_start;

}  // namespace

std::int32_t random_next() {
    const std::int32_t k = state / quotient;
    state = (state - k * quotient) * random_multiplier - k * remainder;
    if (state < 0) state += random_modulus;
    return state;
}

std::int32_t random_state() {
    return state;
}

void random_set_state(std::int32_t value) {
    state = value;
}
