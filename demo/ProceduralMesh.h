#pragma once

#include "SkinnedMesh.h"

// The built-in default: a tentacle that sways and twists on a square base,
// with an orb on its tip. The tube blends up to five bones of an eight-bone
// chain per vertex (so conversion has to drop the weakest); base and orb
// follow one bone each.
SkinnedMesh MakeTentacle();
