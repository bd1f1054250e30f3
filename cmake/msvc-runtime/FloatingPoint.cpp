// The compiler marks every object that uses floating point with a reference
// to _fltused; the Microsoft C runtime answers it, and so must this one.

extern "C" const int _fltused = 0x9875;
