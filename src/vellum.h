// Vellum: the umbrella header. Host programs include only this.
#pragma once

#include "platform/platform.h"
