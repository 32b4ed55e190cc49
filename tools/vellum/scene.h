// The sample scene: a 24-bit picture drawn in code, so the tool and the demo
// have an input that shows what each operation does without shipping an
// image. It mixes smooth gradients (a sky, a soft sun), large flat shapes in
// saturated colours, hard edges at every angle, and fine detail at the pixel
// level (1-pixel stripes, checkerboards, rings, small text), which is where
// filters, scaling and colour reduction differ visibly.
#pragma once

#include "image_io.h"

namespace vellum::cli {

// Draws the scene at any size from 1 x 1 up; the layout scales with the
// picture, and the fine detail stays at 1 to 4 pixels. Deterministic: the
// same size gives the same bytes. Throws Failure when memory runs out.
Image makeSampleScene(int width, int height);

}  // namespace vellum::cli
