// Fuzz target: the input is a sequence of calls of the C interface, every exported function, on
// one populated store and the handles open on it: the allocation sweep's rows (tests/alloc), each
// made ready as the sweep makes it, in any order. A handle a row releases is NULL for the rows
// after it; what a call hands out is released after it. Any result outside the interface's codes,
// or a success that leaves a last error, stops the run.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

#include "../alloc/Sweep.h"
#include "FuzzStore.h"

constexpr int kMaxCalls = 64;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static sweep::Standin standin;
    FuzzedDataProvider input(data, size);
    int count = 0;
    const sweep::Row* rows = sweep::Rows(&count);
    sweep::Handles h;
    standin.Open(h);
    for (int call = 0; call < kMaxCalls && input.remaining_bytes() > 0; ++call) {
        const sweep::Row& row = rows[input.ConsumeIntegralInRange(0, count - 1)];
        sweep::Outputs o;
        sweep::Scalars s;
        if (row.prepare != nullptr) row.prepare(h, o);
        if (Checked(static_cast<ConfigStoreCStatus>(row.call(h, o, s))) == CS_C_OK &&
            *ConfigStoreCLastError() != '\0')
            std::abort();
        sweep::Release(o);
    }
    standin.Close(h);
    return 0;
}
