#pragma once

using Initializer = void (*)();

// Defined in a translation unit of their own, so the compiler cannot tell
// that the walk from one to the other crosses object boundaries.
extern const Initializer kInitializersBegin[];
extern const Initializer kInitializersEnd[];
