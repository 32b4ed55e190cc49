// Vellum: the umbrella header. Host programs include only this; it reaches
// every public declaration of the library.
#pragma once

#include "dib/bmp.h"
#include "dib/convert.h"
#include "dib/ddb.h"
#include "dib/dib.h"
#include "dib/flat.h"
#include "effects/blur.h"
#include "effects/filter.h"
#include "effects/tone.h"
#include "effects/tone_tables.h"
#include "effects/artistic.h"
#include "effects/distort.h"
#include "effects/histogram.h"
#include "effects/noise.h"
#include "filedib/file_dib.h"
#include "geometry/crop.h"
#include "geometry/mirror.h"
#include "geometry/rotate.h"
#include "geometry/scale.h"
#include "geometry/scale_crop.h"
#include "platform/platform.h"
