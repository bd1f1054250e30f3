// The bounds of the module's initialiser table. The compiler puts a pointer to
// each translation unit's dynamic initialiser into section .CRT$XCU; the
// linker sorts the .CRT$XC* sections by name, so these two land before and
// after all of them.

#include "InitializerTable.h"

#pragma section(".CRT$XCA", read)
#pragma section(".CRT$XCZ", read)

__declspec(allocate(".CRT$XCA")) const Initializer kInitializersBegin[] = {nullptr};
__declspec(allocate(".CRT$XCZ")) const Initializer kInitializersEnd[] = {nullptr};
