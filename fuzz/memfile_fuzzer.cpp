// Drives a CxMemFile with a program read from the input: each byte picks an
// operation, the following bytes give its arguments. The file is checked
// against a plain model of its contents after every step.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codec/memfile.h"

namespace {
void Check(bool c) {
    if (!c) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t i = 0;
    auto next = [&]() -> std::uint8_t { return i < size ? data[i++] : 0; };
    const bool external = next() & 1;
    std::vector<BYTE> backing(64, 0xAB);
    CxMemFile file(external ? backing.data() : nullptr, external ? 64 : 0);
    std::vector<BYTE> model(external ? backing : std::vector<BYTE>());
    long pos = 0;
    while (i < size) {
        const std::uint8_t op = next() % 7;
        switch (op) {
            case 0: {  // write
                const std::size_t n = next() % 40;
                std::vector<BYTE> bytes(n, next());
                const std::size_t wrote = file.Write(bytes.data(), 1, n);
                if (!external) Check(wrote == n);
                if (wrote) {
                    if (model.size() < pos + wrote) model.resize(pos + wrote, 0);
                    std::memcpy(model.data() + pos, bytes.data(), wrote);
                    pos += static_cast<long>(wrote);
                }
                break;
            }
            case 1: {  // read
                const std::size_t n = next() % 40;
                std::vector<BYTE> bytes(n);
                const std::size_t got = file.Read(bytes.data(), 1, n);
                const std::size_t expect = pos < static_cast<long>(model.size())
                                               ? std::min<std::size_t>(n, model.size() - pos)
                                               : 0;
                Check(got == expect);
                if (got) Check(std::memcmp(bytes.data(), model.data() + pos, got) == 0);
                pos += static_cast<long>(got);
                break;
            }
            case 2: {  // seek
                const long offset = static_cast<std::int8_t>(next()) * 3;
                const int origin = next() % 3;
                const long base = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? pos : static_cast<long>(model.size());
                const bool ok = file.Seek(offset, origin);
                Check(ok == (base + offset >= 0));
                if (ok) pos = base + offset;
                break;
            }
            case 3: {
                const std::uint8_t c = next();
                if (file.PutC(c)) {
                    if (model.size() < static_cast<std::size_t>(pos) + 1) model.resize(pos + 1, 0);
                    model[pos] = c;
                    ++pos;
                } else {
                    Check(external);
                }
                break;
            }
            case 4: {
                const long c = file.GetC();
                if (pos < static_cast<long>(model.size())) {
                    Check(c == model[pos]);
                    ++pos;
                } else {
                    Check(c == -1);
                }
                break;
            }
            case 5:
                Check(file.Flush());
                break;
            default:
                Check(file.Eof() == (pos >= static_cast<long>(model.size())));
                break;
        }
        Check(file.Tell() == pos);
        Check(file.Size() == static_cast<long>(model.size()));
    }
    return 0;
}
