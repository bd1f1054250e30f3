#include <Quorvan/Quorvan.h>

#include <cstdio>

int main() {
    if (!Quorvan::Initialize(true, 6)) return 1;
    Quorvan* q = Quorvan::i();
    _processor_info info;
    std::printf("features %d, instance %s\n", _cpuid(&info), q ? "present" : "missing");
    Quorvan::Shutdown();
    return q && Quorvan::i() == nullptr ? 0 : 2;
}
