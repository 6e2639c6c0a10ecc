#pragma once

// One of the structures in here has a field with the name of a keyword.
#define explicit explicitComponents
#include <xcb/xkb.h>
#undef explicit
