#pragma once
#include <QtGlobal>

// True/False flags shared across the program are 16-bit words: True is -1, False is 0,
// and only the exact value -1 counts as True.
using Bool16 = qint16;
inline constexpr Bool16 kTrue16 = -1;
inline constexpr Bool16 kFalse16 = 0;
