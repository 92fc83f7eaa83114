// ExceptionGuard_bench.cpp - entering and leaving the crash-report guard when
// nothing goes wrong, against a plain call of the same body.
#include "bench/BenchSupport.h"
#include "diagnostics/VskDebug.h"

namespace {

class CNoOutput : public vsk::detail::CReportOutput {
public:
    void PutTimestamp() override {}
    void PutPrefix(const char*, int, const char*) override {}
    void Put(const char*) override {}
    void PutLine(const char*) override {}
};

volatile int g_counter = 0;

__attribute__((noinline)) void Body(void*) { g_counter = g_counter + 1; }

} // namespace

int main() {
    const int kCalls = vskbench::Count(1000000);
    CNoOutput out;
    void (*volatile body)(void*) = Body;
    const double guarded = vskbench::BestSeconds(7, [&] {
        for (int i = 0; i < kCalls; ++i)
            vsk::detail::RunReportGuarded(body, nullptr, out, __FILE__, __LINE__, "main");
    });
    const double plain = vskbench::BestSeconds(7, [&] {
        for (int i = 0; i < kCalls; ++i)
            body(nullptr);
    });
    const double perCallNs = guarded / kCalls * 1e9;
    const double plainNs = plain / kCalls * 1e9;
    std::printf("guard enter+leave: %.1f ns a call, plain call %.1f ns, guard/plain %.2fx; goal under 100 ns: %s\n",
                perCallNs, plainNs, perCallNs / plainNs, vskbench::Verdict(perCallNs < 100.0));
    vskbench::PrintResult("guard enter+leave, ns a call", perCallNs, "< 100 ns", perCallNs < 100.0);
    return vskbench::Finish(0);
}
