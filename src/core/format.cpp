#include "core/format.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr int default_decimals = 4;

constexpr double powers_of_ten[] = {1e0, 1e1, 1e2, 1e3,  1e4,  1e5, 1e6,
                                    1e7, 1e8, 1e9, 1e10, 1e11, 1e12};
constexpr double negative_powers_of_ten[] = {1e0, 1e-1, 1e-2, 1e-3, 1e-4, 1e-5, 1e-6};

// The 32-bit value of an argument; reals truncate toward zero and saturate.
std::int32_t int_arg(const FormatArg& arg) {
    if (arg.kind() == FormatArg::Kind::real) {
        const double d = arg.real();
        if (std::isnan(d)) return 0;
        if (d <= std::numeric_limits<std::int32_t>::min()) {
            return std::numeric_limits<std::int32_t>::min();
        }
        if (d >= std::numeric_limits<std::int32_t>::max()) {
            return std::numeric_limits<std::int32_t>::max();
        }
        return static_cast<std::int32_t>(d);
    }
    return static_cast<std::int32_t>(arg.integer());
}

// Applies the width rule of %Nd and %N, to finished text; width < 0 means none.
void append_width(std::string& out, const std::string& text, int width) {
    if (width < 0) {
        out += text;
    } else if (static_cast<int>(text.size()) > width) {
        out.append(static_cast<std::size_t>(width), '*');
    } else {
        out.append(static_cast<std::size_t>(width) - text.size(), '0');
        out += text;
    }
}

std::string grouped(const std::string& text) {
    if (text.size() <= 3) return text;
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i != 0 && (text.size() - i) % 3 == 0) out += ',';
        out += text[i];
    }
    return out;
}

}  // namespace

std::string format_real(double v, int decimals, bool strip) {
    const int n = decimals < 0 ? 0 : (decimals > 6 ? 6 : decimals);
    std::string out;
    const double magnitude = std::fabs(v);
    if (std::isnan(v) || magnitude > powers_of_ten[6 + n]) return "*";
    if (magnitude < negative_powers_of_ten[n]) {
        out += '0';
        if (n > 0) {
            out += '.';
            out.append(static_cast<std::size_t>(n), '0');
        }
    } else {
        // At most 10^18 here, so 64 bits hold it.
        const std::string digits = std::to_string(std::llround(magnitude * powers_of_ten[n]));
        // At least n + 2 positions counting the full stop: "0.50" for n = 2,
        // and two digits, "05", when there is no full stop.
        const std::size_t min_digits = static_cast<std::size_t>(n > 0 ? n + 1 : 2);
        const std::size_t fill = digits.size() < min_digits ? min_digits - digits.size() : 0;
        const std::size_t whole = digits.size() + fill - static_cast<std::size_t>(n);
        std::string laid_out(fill, '0');
        laid_out += digits;
        if (v < 0) out += '-';
        out.append(laid_out, 0, whole);
        if (n > 0) {
            out += '.';
            out.append(laid_out, whole);
        }
    }
    // Stripping acts on the decimals only, so whole numbers keep their zeros.
    if (strip && n > 0) {
        while (out.back() == '0')
            out.pop_back();
        if (out.back() == '.') out.pop_back();
    }
    return out;
}

std::string format_args(std::string_view format, std::span<const FormatArg> args) {
    std::string out;
    std::size_t next_arg = 0;
    const FormatArg missing(0);
    const auto take = [&]() -> const FormatArg& {
        return next_arg < args.size() ? args[next_arg++] : missing;
    };

    std::size_t i = 0;
    while (i < format.size()) {
        const char c = format[i++];
        if (c == '\\') {
            if (i == format.size()) break;
            const char e = format[i++];
            out += e == 'n' ? '\n' : e == 'r' ? '\r' : e == 't' ? '\t' : e;
            continue;
        }
        if (c != '%') {
            out += c;
            continue;
        }
        int digit = -1;
        bool strip = false;
        while (i < format.size()) {
            const char k = format[i++];
            if (k >= '0' && k <= '6') {
                digit = k - '0';
                continue;
            }
            if (k == 'z') {
                strip = true;
                continue;
            }
            switch (k) {
                case '%':
                    out += '%';
                    break;
                case 'c': {
                    const FormatArg& a = take();
                    const char ch = a.kind() == FormatArg::Kind::string
                                        ? (a.string().empty() ? '\0' : a.string().front())
                                        : static_cast<char>(int_arg(a));
                    if (ch != '\0') out += ch;
                    break;
                }
                case 's':
                    out += take().string();
                    break;
                case 'd':
                    append_width(out, std::to_string(int_arg(take())), digit);
                    break;
                case ',':
                    append_width(out, grouped(std::to_string(int_arg(take()))), digit);
                    break;
                case 'f':
                    out += format_real(take().real(), digit < 0 ? default_decimals : digit, strip);
                    break;
                default:
                    // Unknown characters and the digits 7 to 9 end the conversion.
                    break;
            }
            break;
        }
    }
    return out;
}

int format_to(char* dest, std::size_t capacity, std::string_view format,
              std::span<const FormatArg> args) {
    if (dest == nullptr || capacity == 0) return 0;
    const std::string text = format_args(format, args);
    const std::size_t n = text.size() < capacity - 1 ? text.size() : capacity - 1;
    std::memcpy(dest, text.data(), n);
    dest[n] = '\0';
    return static_cast<int>(n);
}
