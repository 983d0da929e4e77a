// The system's own printf dialect, used for every label, message and line of
// settings and workflow text. It is not the standard one: see format.cpp for
// the conversions and the exact rule for real numbers.
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
