// The implementations behind the exports. The front of zyprX is front_zyprX: same arguments, same result, reached through the
// slot of zyprX in the dispatch table. Declaring them from the public types makes a front that differs a compile error.
#pragma once

#include "zypr.h"

extern "C" {
#define ZYPR_EXPORT(name) decltype(::name) front_##name;
#include "frame/exports.inc"
#undef ZYPR_EXPORT
}
