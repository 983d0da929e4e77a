// The one generator of random integers in the system: a Lehmer generator
// (multiplier 41358, modulus 2^31 - 1) in Schrage's form, so that no product
// leaves 32 bits. Its state starts at 1234567 and is never reseeded: the same
// parameters give a different noise on each run within a session, and one
// session's sequence is the same on every machine.
#pragma once

#include <cstdint>

inline constexpr std::int32_t random_modulus = 2147483647;
inline constexpr std::int32_t random_multiplier = 41358;
inline constexpr std::int32_t random_start = 1234567;

// The next number of the sequence, 1 .. 2^31 - 2.
std::int32_t random_next();

// The state as it stands. Only tests and tools that must repeat a sequence
// use these; the program itself never sets the state.
std::int32_t random_state();
void random_set_state(std::int32_t state);
