#pragma once

// Marks what a host may link against. The library is compiled with hidden visibility; everything unmarked stays private.
#define BRV_EXPORT __attribute__((visibility("default")))
