#pragma once

// Every NaN the vector kernels leave stored is this one: quiet, positive, no
// payload. Which NaN an operation hands on when it meets two depends on the
// order of its operands, which the compiler, each vector path and each
// processor family choose their own way; that a result is a NaN does not. So
// each NaN a vertex stores is made this one, and its bytes are the same on
// every path and processor. Finite results and infinities are left as they
// are, -0 included.
constexpr float kQuietNaN = __builtin_nanf("");  // 0x7FC00000
