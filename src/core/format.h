// The system's own printf dialect, used for every label, message and line of
// settings and workflow text. It is not the standard one.
//
// The dialect, in the format text:
//   \n \r \t      LF, CR, TAB; a backslash before any other character gives
//                 that character (so "\%" is a plain percent sign); a lone
//                 backslash at the very end is dropped
//   %%            a percent sign
//   %c            one character (a NUL character prints nothing)
//   %s            a string, whole
//   %d            a signed 32-bit integer, as short as it goes (wider
//                 integers are cut to 32 bits, reals truncate and saturate)
//   %Nd           exactly N columns (N 0..6): shorter text is zero-filled on
//                 the left, longer text prints N asterisks. The text includes
//                 any minus sign, so -5 in %3d is "0-5". %0d is exactly zero
//                 columns: every number is longer, so it prints nothing.
//   %,  %N,       as %d / %Nd, with a comma between groups of three characters
//                 counted from the right over the whole text, minus sign
//                 included (-123 gives "-,123"); the comma ends the conversion
//   %f  %Nf       a real with 4 or N decimals, by the rule of format_real
//   %zf %zNf      the same with trailing zeros and then a trailing full stop
//                 removed from the decimals
// After %, a digit 0..6 sets both width and decimals (a later one wins) and z
// sets the stripping; any other character, the digits 7, 8, 9 included, ends
// the conversion silently: it is consumed, prints nothing and takes no
// argument. Each printing conversion takes the next argument; missing ones
// read as 0 or "", and an argument of another kind reads as its number or as
// "" (a number given to %s prints nothing).
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

// One argument of the formatter: an integer, a real, a character or a string.
class FormatArg {
public:
    enum class Kind { integer, real, character, string };

    FormatArg(int v) : kind_(Kind::integer), i_(v) {}
    FormatArg(long v) : kind_(Kind::integer), i_(v) {}
    FormatArg(long long v) : kind_(Kind::integer), i_(v) {}
    FormatArg(unsigned v) : kind_(Kind::integer), i_(v) {}
    FormatArg(unsigned long v) : kind_(Kind::integer), i_(static_cast<std::int64_t>(v)) {}
    FormatArg(unsigned long long v) : kind_(Kind::integer), i_(static_cast<std::int64_t>(v)) {}
    FormatArg(double v) : kind_(Kind::real), d_(v) {}
    FormatArg(float v) : kind_(Kind::real), d_(v) {}
    FormatArg(char c) : kind_(Kind::character), i_(static_cast<unsigned char>(c)) {}
    FormatArg(const char* s) : kind_(Kind::string), s_(s ? s : "") {}
    FormatArg(std::string_view s) : kind_(Kind::string), s_(s) {}
    FormatArg(const std::string& s) : kind_(Kind::string), s_(s) {}

    Kind kind() const { return kind_; }
    std::int64_t integer() const {
        return kind_ == Kind::real ? static_cast<std::int64_t>(d_) : i_;
    }
    double real() const { return kind_ == Kind::real ? d_ : static_cast<double>(i_); }
    std::string_view string() const { return s_; }

private:
    Kind kind_;
    std::int64_t i_ = 0;
    double d_ = 0.0;
    std::string_view s_;
};

// A real as %Nf prints it (`decimals` 0..6), with `strip` as %zNf:
// - 0, and any magnitude below 10^-N, prints "0" and for N > 0 a full stop
//   and N zeros, with no sign;
// - a magnitude above 10^(6 + N), or NaN, prints "*" with no sign;
// - otherwise a minus sign for a negative value, then the magnitude times 10^N
//   rounded half away from zero, zero-filled on the left to at least N + 2
//   characters counting the full stop, which stands N places from the right.
//   So 0.5 prints "0.50" with N = 2, and 5 prints "05" with N = 0.
// Stripping removes trailing zeros of the decimals and then a trailing full stop.
std::string format_real(double v, int decimals, bool strip = false);

// Formats `format` with `args` (missing arguments read as 0 or "").
std::string format_args(std::string_view format, std::span<const FormatArg> args);

// Formats into `dest`, truncating to `capacity - 1` characters and always
// terminating when capacity > 0; returns the length written.
int format_to(char* dest, std::size_t capacity, std::string_view format,
              std::span<const FormatArg> args);

template <typename... Args>
std::string format_text(std::string_view format, const Args&... args) {
    const FormatArg list[] = {FormatArg(args)..., FormatArg(0)};
    return format_args(format, std::span<const FormatArg>(list, sizeof...(Args)));
}
