#include "InterfaceSkinning.h"

std::vector<InterfaceImplementation> InterfaceImplementations() { return {}; }
