#pragma once

// The header names a member `explicit`, which C++ does not allow.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#pragma clang diagnostic pop
