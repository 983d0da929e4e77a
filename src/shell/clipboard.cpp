#include "shell/clipboard.h"

#include "core/errors.h"
#include "core/preferences.h"
#include "core/progress.h"
#include "core/tables.h"

#include "shell/app_state.h"
#include "shell/image_window.h"

#include <QApplication>
#include <QClipboard>
#include <QMdiArea>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr int err_clipboard_too_big = 101;
constexpr double metres_per_inch = 0.0254;

// A bitmap's line as the clipboard keeps it, padded to four bytes.
std::int64_t bitmap_bytes(int bits_per_pixel, int width, int height) {
    const std::int64_t line = (static_cast<std::int64_t>(width) * bits_per_pixel + 31) / 32 * 4;
    return line * height;
}

// A dots-per-metre value back to pixels per inch. Whole dots per metre lose a
// little, so the result is rounded to hundredths: 200 dpi stays 200. A bitmap
// that says nothing has the toolkit's screen density, which tells nothing
// about the picture: it gets the resolution of new images.
double resolution_of(int dots_per_metre, double fallback) {
    static const int unknown = QImage(1, 1, QImage::Format_RGB888).dotsPerMeterX();
    if (dots_per_metre <= 0 || dots_per_metre == unknown) return fallback;
    return std::round(dots_per_metre * metres_per_inch * 100.0) / 100.0;
}

// Forgets that the clipboard holds our picture once another program takes it.
void watch_ownership() {
    static bool watching = false;
    if (watching) return;
    watching = true;
    QClipboard* clipboard = QApplication::clipboard();
    QObject::connect(clipboard, &QClipboard::dataChanged, clipboard, [clipboard] {
        if (!clipboard->ownsClipboard()) app_state.clipboard_image_ours = false;
    });
}

bool black_and_white(const QImage& bitmap, bool* white_is_zero) {
    if (bitmap.colorCount() != 2) return false;
    const QRgb a = bitmap.color(0) | 0xFF000000u;
    const QRgb b = bitmap.color(1) | 0xFF000000u;
    const QRgb black = qRgb(0, 0, 0);
    const QRgb white = qRgb(255, 255, 255);
    if (a == black && b == white) {
        *white_is_zero = false;
        return true;
    }
    if (a == white && b == black) {
        *white_is_zero = true;
        return true;
    }
    return false;
}

bool gray_palette(const QImage& bitmap) {
    if (bitmap.format() != QImage::Format_Indexed8) return false;
    for (int i = 0; i < bitmap.colorCount(); ++i) {
        const QRgb c = bitmap.color(i);
        if (qRed(c) != qGreen(c) || qGreen(c) != qBlue(c)) return false;
    }
    return true;
}

bool sixteen_bit_colour(QImage::Format format) {
    switch (format) {
        case QImage::Format_RGBX64:
        case QImage::Format_RGBA64:
        case QImage::Format_RGBA64_Premultiplied:
        case QImage::Format_RGBX16FPx4:
        case QImage::Format_RGBA16FPx4:
        case QImage::Format_RGBA16FPx4_Premultiplied:
        case QImage::Format_RGBX32FPx4:
        case QImage::Format_RGBA32FPx4:
        case QImage::Format_RGBA32FPx4_Premultiplied:
            return true;
        default:
            return false;
    }
}

}  // namespace

int clipboard_bitmap_of(const Image& picture, QImage* bitmap) {
    const int w = picture.width;
    const int h = picture.height;
    QImage::Format format = QImage::Format_Invalid;
    int bits = 0;
    switch (picture.type) {
        case image_type_binary:
            format = QImage::Format_Mono;
            bits = 1;
            break;
        case image_type_gray8:
        case image_type_gray16:
            format = QImage::Format_Grayscale8;
            bits = 8;
            break;
        case image_type_colour8:
        case image_type_colour16:
            format = QImage::Format_RGB888;
            bits = 24;
            break;
        default:
            return err_illegal_type;
    }
    if (bitmap_bytes(bits, w, h) > std::numeric_limits<std::int32_t>::max())
        return err_clipboard_too_big;
    QImage out(w, h, format);
    if (out.isNull()) return err_clipboard_too_big;
    if (picture.type == image_type_binary) out.setColorTable({qRgb(0, 0, 0), qRgb(255, 255, 255)});
    const int line_bytes = image_line_bytes(&picture);
    for (int t = 0; t < h; ++t) {
        const std::uint8_t* in = picture.rows[h - 1 - t];
        uchar* line = out.scanLine(t);
        switch (picture.type) {
            case image_type_binary:
                // The same bit order: the leftmost pixel is the high bit.
                std::memcpy(line, in, static_cast<std::size_t>(line_bytes));
                break;
            case image_type_gray8:
                std::memcpy(line, in, static_cast<std::size_t>(w));
                break;
            case image_type_gray16:
                for (int x = 0; x < w; ++x)
                    line[x] = to8[in[2 * x] | (in[2 * x + 1] << 8)];
                break;
            case image_type_colour8:
                for (int x = 0; x < w; ++x) {
                    line[3 * x] = in[3 * x + 2];
                    line[3 * x + 1] = in[3 * x + 1];
                    line[3 * x + 2] = in[3 * x];
                }
                break;
            default:
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 3; ++c) {
                        const std::uint8_t* s = in + 6 * x + 2 * (2 - c);
                        line[3 * x + c] = to8[s[0] | (s[1] << 8)];
                    }
                break;
        }
    }
    const int dots = static_cast<int>(std::lround(picture.resolution / metres_per_inch));
    out.setDotsPerMeterX(dots);
    out.setDotsPerMeterY(dots);
    *bitmap = std::move(out);
    return err_ok;
}

int clipboard_picture_of(const QImage& bitmap, double default_resolution, Image* picture) {
    const int w = bitmap.width();
    const int h = bitmap.height();
    bool white_is_zero = false;
    int type = image_type_colour8;
    QImage source;
    if ((bitmap.format() == QImage::Format_Mono || bitmap.format() == QImage::Format_MonoLSB) &&
        black_and_white(bitmap, &white_is_zero)) {
        type = image_type_binary;
        source = bitmap.convertToFormat(QImage::Format_Mono);
    } else if (bitmap.format() == QImage::Format_Grayscale16) {
        type = image_type_gray16;
        source = bitmap;
    } else if (bitmap.format() == QImage::Format_Grayscale8 || gray_palette(bitmap)) {
        type = image_type_gray8;
        source = bitmap.convertToFormat(QImage::Format_Grayscale8);
    } else if (sixteen_bit_colour(bitmap.format())) {
        type = image_type_colour16;
        source = bitmap.convertToFormat(QImage::Format_RGBX64);
    } else {
        source = bitmap.convertToFormat(QImage::Format_RGB888);
    }
    if (source.isNull()) return err_memory;
    const double resolution = resolution_of(bitmap.dotsPerMeterX(), default_resolution);
    if (int code = image_alloc(picture, type, w, h, resolution)) return code;
    const ProgressScope progress("&Paste", static_cast<std::int64_t>(w) * h, 0, h, true);
    const int line_bytes = image_line_bytes(picture);
    for (int t = 0; t < h; ++t) {
        if (int code = progress.step(t)) {
            image_free(picture);
            return code;
        }
        const uchar* in = source.constScanLine(t);
        std::uint8_t* out = picture->rows[h - 1 - t];
        switch (type) {
            case image_type_binary:
                for (int b = 0; b < line_bytes; ++b)
                    out[b] = white_is_zero ? static_cast<std::uint8_t>(~in[b]) : in[b];
                break;
            case image_type_gray8:
                std::memcpy(out, in, static_cast<std::size_t>(w));
                break;
            case image_type_gray16: {
                const auto* samples = reinterpret_cast<const quint16*>(in);
                for (int x = 0; x < w; ++x) {
                    out[2 * x] = static_cast<std::uint8_t>(samples[x] & 0xFF);
                    out[2 * x + 1] = static_cast<std::uint8_t>(samples[x] >> 8);
                }
                break;
            }
            case image_type_colour16: {
                // Red, green, blue, unused: 16 bits each.
                const auto* samples = reinterpret_cast<const quint16*>(in);
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 3; ++c) {
                        const quint16 v = samples[4 * x + (2 - c)];
                        out[6 * x + 2 * c] = static_cast<std::uint8_t>(v & 0xFF);
                        out[6 * x + 2 * c + 1] = static_cast<std::uint8_t>(v >> 8);
                    }
                break;
            }
            default:
                for (int x = 0; x < w; ++x) {
                    out[3 * x] = in[3 * x + 2];
                    out[3 * x + 1] = in[3 * x + 1];
                    out[3 * x + 2] = in[3 * x];
                }
                break;
        }
    }
    return err_ok;
}

int clipboard_copy(QMdiArea* area) {
    ImageWindow* window = image_window_active(area);
    if (window == nullptr) return err_ok;
    QImage bitmap;
    if (int code = clipboard_bitmap_of(window->record()->image, &bitmap)) return code;
    watch_ownership();
    QApplication::clipboard()->setImage(bitmap);
    app_state.clipboard_image_ours = true;
    return err_ok;
}

int clipboard_paste(QMdiArea* area) {
    if (area == nullptr) return err_ok;
    const QImage bitmap = QApplication::clipboard()->image();
    if (bitmap.isNull()) {
        QApplication::beep();
        return err_ok;
    }
    ImageHolder picture;
    if (int code = clipboard_picture_of(bitmap, preferences().defaultres, picture.get()))
        return code;
    ImageWindow* window = nullptr;
    if (int code = image_window_create(area, picture.get(), &window)) return code;
    window->modified = 1;
    return err_ok;
}
