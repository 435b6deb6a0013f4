#include "Targets.h"

#include <cstddef>
#include <cstdint>

/** libFuzzer's way in. KV_FUZZ_TARGET is the function that this program fuzzes. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    FuzzTargets::KV_FUZZ_TARGET(QByteArrayView(data, static_cast<qsizetype>(size)));
    return 0;
}
