// SPDX-License-Identifier: MIT
// A closed torus of triangles whose shared corners coincide exactly, for the
// mesh benchmarks, the comparison with peer libraries and the tool's tour.
// Every position is computed once as a float and then written for each
// triangle that uses it, so that welding by exact coincidence finds exactly
// around x across vertices again. Standard library only: the peer programs
// of scripts/compare include it too.
//
// Grid point (i, j) sits at angle 2 pi i / around about the torus's axis (z)
// and 2 pi j / across about its tube; each grid cell gives two triangles,
// oriented outward. The mesh is closed, of genus 1: vertices - edges +
// triangles = 0, every edge has exactly two triangles.
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace QEL::MeshGen {

struct STorusMesh {
    std::vector<float> positions;        // x, y, z per vertex
    std::vector<std::uint32_t> corners;  // three vertex indices per triangle

    std::size_t Triangles() const { return corners.size() / 3; }
    std::size_t Vertices() const { return positions.size() / 3; }
};

// 2 x around x across triangles; the default makes 800,000.
inline STorusMesh MakeTorus(int around = 800, int across = 500, double majorRadius = 100.0,
                            double minorRadius = 30.0) {
    if (around < 3 || across < 3) throw std::invalid_argument("a torus needs at least 3 x 3 grid cells");
    double const pi = std::atan(1.0) * 4.0;
    STorusMesh mesh;
    mesh.positions.reserve(std::size_t(around) * std::size_t(across) * 3);
    for (int i = 0; i < around; ++i) {
        double const u = 2.0 * pi * i / around;
        for (int j = 0; j < across; ++j) {
            double const v = 2.0 * pi * j / across;
            double const ring = majorRadius + minorRadius * std::cos(v);
            mesh.positions.push_back(float(ring * std::cos(u)));
            mesh.positions.push_back(float(ring * std::sin(u)));
            mesh.positions.push_back(float(minorRadius * std::sin(v)));
        }
    }
    auto const at = [&](int i, int j) { return std::uint32_t((i % around) * across + (j % across)); };
    mesh.corners.reserve(std::size_t(around) * std::size_t(across) * 6);
    for (int i = 0; i < around; ++i)
        for (int j = 0; j < across; ++j) {
            std::uint32_t const a = at(i, j), b = at(i + 1, j), c = at(i + 1, j + 1), d = at(i, j + 1);
            for (std::uint32_t k : {a, b, c, a, c, d})
                mesh.corners.push_back(k);
        }
    return mesh;
}

// Nine floats per triangle: the corners as a triangle soup.
inline std::vector<float> Soup(STorusMesh const& mesh) {
    std::vector<float> soup(mesh.corners.size() * 3);
    for (std::size_t c = 0; c < mesh.corners.size(); ++c)
        std::memcpy(&soup[3 * c], &mesh.positions[3 * std::size_t(mesh.corners[c])], 3 * sizeof(float));
    return soup;
}

namespace Detail {

inline void Normal(float const* p0, float const* p1, float const* p2, float* n) {
    double const a[3] = {double(p1[0]) - p0[0], double(p1[1]) - p0[1], double(p1[2]) - p0[2]};
    double const b[3] = {double(p2[0]) - p0[0], double(p2[1]) - p0[1], double(p2[2]) - p0[2]};
    double const c[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    double const length = std::sqrt(c[0] * c[0] + c[1] * c[1] + c[2] * c[2]);
    for (int k = 0; k < 3; ++k)
        n[k] = length > 0 ? float(c[k] / length) : 0.0f;
}

class CFile {
  public:
    explicit CFile(std::string const& path) : m_file(std::fopen(path.c_str(), "wb")), m_path(path) {
        if (m_file == nullptr) throw std::runtime_error("cannot write " + path);
    }
    ~CFile() {
        if (m_file != nullptr) std::fclose(m_file);
    }
    CFile(CFile const&) = delete;
    CFile& operator=(CFile const&) = delete;
    void Write(void const* bytes, std::size_t count) {
        if (std::fwrite(bytes, 1, count, m_file) != count) throw std::runtime_error("cannot write " + m_path);
    }
    void Close() {
        int const failed = std::fclose(m_file);
        m_file = nullptr;
        if (failed != 0) throw std::runtime_error("cannot write " + m_path);
    }

  private:
    std::FILE* m_file;
    std::string m_path;
};

// Shortest text that reads back as the same float.
inline char* Number(char* out, float value) {
    return std::to_chars(out, out + 32, value).ptr;
}

}  // namespace Detail

// Binary STL: 80-byte header, count, 50 bytes per triangle with its unit normal.
inline void WriteBinarySTL(std::string const& path, STorusMesh const& mesh) {
    Detail::CFile file(path);
    char header[80] = "binary STL of a torus, written by qel-meshgen";
    std::uint32_t const count = std::uint32_t(mesh.Triangles());
    file.Write(header, 80);
    file.Write(&count, 4);
    std::vector<unsigned char> block;
    block.reserve(50 * 4096);
    for (std::size_t t = 0; t < mesh.Triangles(); ++t) {
        float record[12];
        for (int k = 0; k < 3; ++k)
            std::memcpy(record + 3 + 3 * k, &mesh.positions[3 * std::size_t(mesh.corners[3 * t + k])], 12);
        Detail::Normal(record + 3, record + 6, record + 9, record);
        unsigned char const* bytes = reinterpret_cast<unsigned char const*>(record);
        block.insert(block.end(), bytes, bytes + 48);
        block.push_back(0);
        block.push_back(0);
        if (block.size() >= 50 * 4096) {
            file.Write(block.data(), block.size());
            block.clear();
        }
    }
    file.Write(block.data(), block.size());
    file.Close();
}

// ASCII STL, numbers in their shortest exact form.
inline void WriteASCIISTL(std::string const& path, STorusMesh const& mesh) {
    Detail::CFile file(path);
    std::string text = "solid torus\n";
    for (std::size_t t = 0; t < mesh.Triangles(); ++t) {
        float const* p[3];
        for (int k = 0; k < 3; ++k)
            p[k] = &mesh.positions[3 * std::size_t(mesh.corners[3 * t + k])];
        float n[3];
        Detail::Normal(p[0], p[1], p[2], n);
        char line[160];
        char* end = line;
        auto const triple = [&](char const* prefix, float const* v) {
            std::size_t const length = std::strlen(prefix);
            std::memcpy(end, prefix, length);
            end += length;
            for (int k = 0; k < 3; ++k) {
                *end++ = ' ';
                end = Detail::Number(end, v[k]);
            }
            *end++ = '\n';
        };
        triple("  facet normal", n);
        text.append(line, end);
        text += "    outer loop\n";
        for (int k = 0; k < 3; ++k) {
            end = line;
            triple("      vertex", p[k]);
            text.append(line, end);
        }
        text += "    endloop\n  endfacet\n";
        if (text.size() > (1u << 22)) {
            file.Write(text.data(), text.size());
            text.clear();
        }
    }
    text += "endsolid torus\n";
    file.Write(text.data(), text.size());
    file.Close();
}

// ".raw": one line of nine numbers per triangle.
inline void WriteRAW(std::string const& path, STorusMesh const& mesh) {
    Detail::CFile file(path);
    std::string text;
    for (std::size_t t = 0; t < mesh.Triangles(); ++t) {
        char line[160];
        char* end = line;
        for (int k = 0; k < 9; ++k) {
            if (k > 0) *end++ = ' ';
            end = Detail::Number(end, mesh.positions[3 * std::size_t(mesh.corners[3 * t + k / 3]) + k % 3]);
        }
        *end++ = '\n';
        text.append(line, end);
        if (text.size() > (1u << 22)) {
            file.Write(text.data(), text.size());
            text.clear();
        }
    }
    file.Write(text.data(), text.size());
    file.Close();
}

}  // namespace QEL::MeshGen
