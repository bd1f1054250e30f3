#pragma once

// The module's static objects: constructed at load, before the module's own
// entry logic runs, and destroyed at unload in the reverse order.

namespace StaticObjects {

// Runs every dynamic initialiser the compiler listed for the module.
void Construct();

// Runs the destructors the initialisers registered, last first.
void Destroy();

}  // namespace StaticObjects
