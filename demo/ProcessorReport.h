#pragma once

// Prints what _cpuid finds out about this processor.
void PrintProcessor();
