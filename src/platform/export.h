// Symbol visibility for libvellum. The shared library is built with hidden
// visibility; every public declaration carries VELLUM_API.
#pragma once

#define VELLUM_API __attribute__((visibility("default")))
