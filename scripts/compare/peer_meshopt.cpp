// SPDX-License-Identifier: MIT
// The bare weld, for reference: fread of a binary STL, its corners copied out,
// meshopt_generateVertexRemap over them (exact coincidence). No mesh
// structure, no adjacency; binary STL only.
#include <meshoptimizer.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "PeerTiming.h"

int main(int argc, char** argv) {
    return QEL::Compare::Main(argc, argv, [](char const* path) {
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "rb"), std::fclose);
        if (!file) throw std::runtime_error("cannot open the file");
        std::fseek(file.get(), 0, SEEK_END);
        long const size = std::ftell(file.get());
        std::fseek(file.get(), 0, SEEK_SET);
        std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
        if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size() || size < 84)
            throw std::runtime_error("cannot read the file");
        std::uint32_t count = 0;
        std::memcpy(&count, bytes.data() + 80, 4);
        if (84 + 50ull * count != std::uint64_t(size)) throw std::runtime_error("not a binary STL file");
        std::vector<float> corners(std::size_t(count) * 9);
        for (std::size_t t = 0; t < count; ++t)
            std::memcpy(&corners[9 * t], bytes.data() + 84 + 50 * t + 12, 36);
        std::vector<unsigned> remap(std::size_t(count) * 3);
        std::size_t const vertices = meshopt_generateVertexRemap(remap.data(), nullptr, remap.size(),
                                                                 corners.data(), remap.size(), 12);
        return QEL::Compare::SCounts{vertices, count};
    });
}
