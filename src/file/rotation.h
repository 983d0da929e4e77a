// Rotation codes, the system's numbering of the eight ways a picture can be
// turned and mirrored, and their link to TIFF's Orientation tag:
//   0 none, 1 rotate 90 clockwise, 2 rotate 180, 3 rotate 90 counter-clockwise,
//   4 mirror left-right, 5 mirror about the diagonal from the top left,
//   6 mirror top-bottom, 7 mirror about the other diagonal.
// A code says what must be done to the stored picture to show it upright.
#pragma once

struct Image;

// TIFF orientation 1..8 to a rotation code; anything else gives 0.
int rotation_from_tiff(int orientation);
// Rotation code 0..7 to a TIFF orientation; anything else gives 1.
int tiff_from_rotation(int code);
// The code for `first` followed by `then`.
int rotation_compose(int first, int then);

// Turns an Image of type 1, 2, 3, 6 or 7 by a rotation code. The turns by 90
// degrees and the diagonals build a new Image and move it into `image`; the
// others work in place. 0, 1 (memory) or 14 for other types.
[[nodiscard]] int image_rotate(Image* image, int code);
