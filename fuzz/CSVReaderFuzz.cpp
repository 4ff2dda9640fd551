// The CSV reader on arbitrary bytes: no crash, no hang, no leak.
//   CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DTAVRIN_BUILD_FUZZ=ON -DTAVRIN_CORE_ONLY=ON
//   ninja -C build-fuzz tavrin_csv_fuzz && build-fuzz/fuzz/tavrin_csv_fuzz -max_total_time=60
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "database/CSVReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto table = tavrin::CSVTable::parse(std::string_view(reinterpret_cast<const char*>(data), size));
    (void)table.duplicateHeaders();
    for (std::size_t row = 0; row < table.rows().size(); ++row) {
        for (const auto& name : table.header()) {
            try {
                (void)tavrin::decodeBool(table, row, name);
                (void)tavrin::decodeOptionalInteger(table, row, name);
            } catch (const tavrin::CSVDecodeError&) {
            }
        }
    }
    return 0;
}
