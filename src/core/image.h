// The one pixel store of the system: every open picture, screen copy, mask,
// thumbnail and scratch buffer is an Image. It is a plain record managed by
// free functions with an explicit lifecycle: image_init before first use,
// image_free (safe twice) to release it.
//
// Line 0 is the bottom line, so a line is byte for byte a line of a bottom-up
// device-independent bitmap. Samples are little-endian; colour pixels are
// stored blue, green, red. Memory comes in blocks of at most 4 MiB so that
// very large pictures survive a fragmented address space; a line is reached
// through one look-up in `rows`.
#pragma once

#include <cstdint>
#include <type_traits>

// Type codes of `Image::type`.
enum ImageType : std::int32_t {
    image_type_empty = 0,
    image_type_binary = 1,     // 1 bit a pixel, most significant bit leftmost
    image_type_gray8 = 2,      // 8-bit gray
    image_type_colour8 = 3,    // 8-bit blue, green, red
    image_type_colour = 4,     // one colour value: a single line of 3 bytes
    image_type_histogram = 5,  // one 257-entry table of 32-bit values: a single line
    image_type_gray16 = 6,     // 16-bit gray
    image_type_colour16 = 7,   // 16-bit blue, green, red
    image_type_mosaic = 8,     // raw sensor data, one 16-bit sample a pixel
    image_type_four8 = 9,      // four 8-bit samples a pixel, unpadded lines
    image_type_four16 = 10,    // four 16-bit samples a pixel, unpadded lines
};

// The largest line an Image can hold, and the size of its memory blocks.
inline constexpr std::int32_t image_block_bytes = 4194304;

// Facts about a raw camera file carried with its Mosaic. The same 152 bytes
// are stored in PAR files, so the layout is fixed: 38 32-bit words.
struct MosaicInfo {
    std::uint32_t width;  // of the data
    std::uint32_t height;
    std::uint32_t maximum;        // saturation value of the sensor data
    std::uint32_t black;          // greatest of the black levels
    std::uint32_t filters;        // colour-filter pattern code; 0 for full colour
    std::uint32_t colors;         // 3 or 4
    float camera_multipliers[4];  // [0] is -1 when the decoder has none
    float daylight_multipliers[4];
    float applied_multipliers[4];  // used by the last scaling
    float camera_to_srgb[3][4];
    std::uint32_t capture_time;  // seconds
    std::uint32_t fuji_width;    // 45-degree sensor layout; 0 for normal sensors
    std::uint32_t flip;          // camera flip code 0..7
    std::uint32_t left_offset;   // of this Mosaic inside the sensor
    std::uint32_t top_offset;
    std::uint32_t unused[2];
    float pixel_aspect;
};
static_assert(sizeof(MosaicInfo) == 152, "MosaicInfo is 38 words, as stored in files");
static_assert(std::is_trivially_copyable_v<MosaicInfo>);

struct Image {
    std::int32_t type;            // ImageType; 0 means empty
    std::int32_t width;           // pixels in a line
    std::int32_t height;          // lines
    std::int32_t row_bytes;       // from the start of a line to the end of its padding
    double resolution;            // pixels per inch; 100.0 when nothing better is known
    std::uint8_t** rows;          // `height` line pointers, line 0 at the bottom
    std::int32_t chunk_count;     // memory blocks
    std::int32_t rows_per_chunk;  // whole lines in one block
    std::uint8_t** chunks;        // `chunk_count` block pointers
    MosaicInfo* mosaic_info;      // only for images from raw files; owned
    std::uint8_t fill_colour[3];  // plain colour of an empty album frame
    std::uint8_t fill_colour_set;
};

// Lifecycle.
void image_init(Image* image);
// Releases everything the record owns and re-initialises it. Safe twice.
void image_free(Image* image);
// Gives `image` the shape asked. With exactly the current type, width and
// height only the resolution changes and the old lines are kept: never rely
// on fresh memory. Returns 0, 1 (memory) or 102 (a line over 4 MiB).
[[nodiscard]] int image_alloc(Image* image, int type, int width, int height, double resolution);
// image_alloc plus a zeroed MosaicInfo block unless the record has one.
[[nodiscard]] int image_alloc_mosaic(Image* image, int type, int width, int height, int resolution);
// Allocates `dest` in `source`'s shape and resolution, with its MosaicInfo and
// fill colour bytes, but not its `fill_colour_set`. Copies no pixels.
[[nodiscard]] int image_alloc_like(const Image* source, Image* dest);
[[nodiscard]] int image_copy_quiet(const Image* source, Image* dest);
// As image_copy_quiet with the "Copy" progress panel; on cancel `dest` is
// released and 11 returned.
[[nodiscard]] int image_copy_with_progress(const Image* source, Image* dest);
// Frees `dest`, hands the whole record of `source` over to it and
// re-initialises `source`. No pixel moves.
void image_move(Image* source, Image* dest);

// Gray or colour at 8 or 16 bits (types 2, 3, 6, 7): what most
// transformations take.
constexpr bool image_type_gray_or_colour(int type) {
    return type == image_type_gray8 || type == image_type_colour8 || type == image_type_gray16 ||
           type == image_type_colour16;
}

// Classification: colour is type 3 or 7; 16-bit is 6, 7, 8 or 10.
bool image_is_colour(const Image* image);
bool image_is_16bit(const Image* image);
// 6 becomes 2, 7 becomes 3, 10 becomes 9 through `to8`; other types stay.
[[nodiscard]] int image_to_8bit_in_place(Image* image);

// Unpadded bytes of a line (`row_bytes` for types 9 and 10); 0 for an unknown type.
int image_line_bytes(const Image* image);
// height * image_line_bytes: what file writers and size read-outs use.
std::int64_t image_data_bytes(const Image* image);

// Copies the inclusive rectangle between two corners, given in any order and
// each clamped to the picture. Pixels are copied for types 1, 2, 3, 6 and 7;
// other types get an allocated, unwritten image.
[[nodiscard]] int image_crop(const Image* source, int x1, int y1, int x2, int y2, Image* dest);

// Bytes from one pixel to the next: 1, 3, 2, 6, 2, 4, 8 for types 2, 3, 6, 7,
// 8, 9, 10; 0 for the types that don't address pixels by byte (1, 4, 5).
int image_pixel_step(int type);

// Address of pixel (x, y); null outside the picture and for types 1, 4 and 5.
std::uint8_t* image_pixel_pointer(Image* image, int x, int y);
const std::uint8_t* image_pixel_pointer(const Image* image, int x, int y);

// One pixel of a type 1 line; bit 7 of the first byte is pixel 0.
inline bool image_bit_get(const std::uint8_t* line, int x) {
    return (line[x >> 3] & (0x80 >> (x & 7))) != 0;
}
inline void image_bit_set(std::uint8_t* line, int x) {
    line[x >> 3] = static_cast<std::uint8_t>(line[x >> 3] | (0x80 >> (x & 7)));
}
inline void image_bit_clear(std::uint8_t* line, int x) {
    line[x >> 3] = static_cast<std::uint8_t>(line[x >> 3] & ~(0x80 >> (x & 7)));
}

// Move the pixels of a screen copy when its window scrolls. Left and right
// work on types 1, 2 and 3; up (towards higher line numbers) and down on any
// type. The n pixels or lines that are uncovered keep their old contents.
void image_shift_left(Image* image, int n);
void image_shift_right(Image* image, int n);
void image_shift_up(Image* image, int n);
void image_shift_down(Image* image, int n);

// Nearest pixel of a type 1 image as 255 or 0; `outside` off the picture.
int image_sample_binary(const Image* image, double x, double y, int outside);
// Bilinear samples with 8-bit fractions. Inside the picture they interpolate
// between pixels; over a one-pixel ring around it they fade into `outside`;
// beyond that they return `outside`.
int image_sample_gray8(const Image* image, double x, double y, int outside);
int image_sample_gray16(const Image* image, double x, double y, int outside);
void image_sample_rgb8(const Image* image, double x, double y, int* r, int* g, int* b,
                       int outside_r, int outside_g, int outside_b);
void image_sample_rgb16(const Image* image, double x, double y, int* r, int* g, int* b,
                        int outside_r, int outside_g, int outside_b);
// 8-bit red, green and blue of types 1, 2, 3, 6 and 7; other types leave the
// outputs alone. Type 7 goes through the 8-bit colour sampler, see image.cpp.
void image_sample_rgb(const Image* image, double x, double y, int* r, int* g, int* b, int outside_r,
                      int outside_g, int outside_b);

// Sum over a type 2 mask of value / 255; 0 for other types.
double image_mask_area(const Image* image);

// Type 6 to a new type 2 image, and type 7 to type 3, through `to8`. With
// progress a cancel returns 11 and leaves `dest` allocated and partly
// written: the caller frees it. Other source types give 14.
[[nodiscard]] int image_to_gray8_from16(const Image* source, Image* dest, bool with_progress);
[[nodiscard]] int image_to_colour8_from16(const Image* source, Image* dest, bool with_progress);

// A washed-out copy of a type 2 or 3 image, each sample v becoming v / 2 + 127.
// Other types give an allocated, unwritten image.
[[nodiscard]] int image_dimmed_copy(const Image* source, Image* dest);

// Paints an antialiased disc into an image of type 2, 3, 6 or 7. `colour` is
// red, green, blue; a gray image takes the greatest of the three.
void image_draw_disc(Image* image, double centre_x, double centre_y, double radius,
                     const std::uint8_t colour[3]);

// Owns one Image for a scope: image_init on construction, image_free on
// destruction.
class ImageHolder {
public:
    ImageHolder() { image_init(&image_); }
    ~ImageHolder() { image_free(&image_); }
    ImageHolder(ImageHolder&& other) noexcept {
        image_init(&image_);
        image_move(&other.image_, &image_);
    }
    ImageHolder& operator=(ImageHolder&& other) noexcept {
        image_move(&other.image_, &image_);
        return *this;
    }
    ImageHolder(const ImageHolder&) = delete;
    ImageHolder& operator=(const ImageHolder&) = delete;

    Image* get() { return &image_; }
    const Image* get() const { return &image_; }
    Image* operator->() { return &image_; }
    const Image* operator->() const { return &image_; }
    Image& operator*() { return image_; }
    const Image& operator*() const { return image_; }

private:
    Image image_;
};
