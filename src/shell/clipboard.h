// The Edit menu's clipboard: "Cop&y" (2003) puts the active picture there as
// a bitmap, "&Paste" (2004) makes a new window from the bitmap found there.
#pragma once

#include "core/image.h"

#include <QImage>

class QMdiArea;

// The picture as the clipboard takes it, the way a device-independent bitmap
// holds it: binary as a two-colour bitmap (a set bit is white), gray as 8-bit
// gray, colour as 8-bit red, green, blue; 16-bit pictures go through `to8`.
// The resolution goes along as dots per metre. Types other than 1, 2, 3, 6
// and 7 give 14; a bitmap of 2 GiB or more gives 101.
[[nodiscard]] int clipboard_bitmap_of(const Image& picture, QImage* bitmap);

// A bitmap back into a picture: a two-colour black and white bitmap becomes
// type 1, gray bitmaps type 2 (16-bit gray type 6), bitmaps of 16 bits a
// channel type 7, and all others type 3, with any transparency dropped. The
// resolution comes from the dots per metre, or is `default_resolution` when
// the bitmap has none (or only the toolkit's screen density). 1 when memory runs out, 11 on a
// cancel.
[[nodiscard]] int clipboard_picture_of(const QImage& bitmap, double default_resolution,
                                       Image* picture);

// 2003 on the active image window; nothing without one.
[[nodiscard]] int clipboard_copy(QMdiArea* area);
// 2004: a new, modified window of the clipboard's bitmap; nothing (a beep)
// when the clipboard holds none.
[[nodiscard]] int clipboard_paste(QMdiArea* area);
