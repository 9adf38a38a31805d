// SPDX-License-Identifier: MIT
#include "operations/triangulation/QEL_TriangleAssembly.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_map>
#include <vector>

#include "core/CQEL_Allocate.h"
#include "core/CQEL_Operation.h"
#include "platform/CTask.h"

namespace QEL::Core::Assembly {

namespace {

CQEL_Operation const& AssemblyOp() {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Merge_Parts::Merge");
    return op;
}

// Parts for work over count elements: below this many per part a thread
// costs more than it saves.
int PartsForElements(std::int64_t count) {
    return PartsFor(count, std::int64_t(1) << 16);
}

// --- welding ---------------------------------------------------------------------

// The coordinates of a point as integer words: -0.0 is made +0.0, so that
// equal words mean equal values or the same NaN.
template <class Word>
struct SKey {
    Word w[3];
    bool operator==(SKey const&) const = default;
};

template <class Word>
inline SKey<Word> LoadKey(unsigned char const* at) {
    // Word by word into registers (one block copy goes through the stack).
    constexpr Word kSign = Word(1) << (8 * sizeof(Word) - 1);
    SKey<Word> key;
    for (int a = 0; a < 3; ++a) {
        Word w;
        std::memcpy(&w, at + a * sizeof(Word), sizeof(Word));
        key.w[a] = w == kSign ? 0 : w;
    }
    return key;
}

inline std::uint64_t Mix(std::uint64_t h) {
    h ^= h >> 31;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 29;
    return h;
}

inline std::uint64_t Hash(SKey<std::uint32_t> const& k) {
    std::uint64_t const xy = (std::uint64_t(k.w[0]) << 32) | k.w[1];
    return Mix(xy * 0x9E3779B97F4A7C15ull ^ std::uint64_t(k.w[2]) * 0xC2B2AE3D27D4EB4Full);
}

inline std::uint64_t Hash(SKey<std::uint64_t> const& k) {
    return Mix(k.w[0] * 0x9E3779B97F4A7C15ull ^ std::rotl(k.w[1] * 0xC2B2AE3D27D4EB4Full, 21) ^
               std::rotl(k.w[2] * 0x165667B19E3779F9ull, 42));
}

// Open addressing with the key in the slot, so that a probe touches one
// cache line: with the key elsewhere (as a table of indices into the points
// does) every probe costs a second miss.
template <class Word>
class CWeldTable {
  public:
    explicit CWeldTable(std::int64_t expected) {
        std::int64_t capacity = 1024;
        while (capacity < 2 * expected)
            capacity *= 2;
        Allocate(capacity);
    }

    // The id of key (0, 1, ... in order of insertion); inserted tells whether it is new.
    std::uint32_t FindOrInsert(SKey<Word> const& key, std::uint64_t hash, bool& inserted) {
        std::uint64_t i = hash & m_mask;
        for (;;) {
            SSlot& slot = m_slots[i];
            if (slot.id1 == 0) break;
            if (slot.key == key) {
                inserted = false;
                return slot.id1 - 1;
            }
            i = (i + 1) & m_mask;
        }
        inserted = true;
        std::uint32_t const id = m_count++;
        m_slots[i].key = key;
        m_slots[i].id1 = id + 1;
        if (2 * std::uint64_t(m_count) > m_mask) Grow();
        return id;
    }

    void Prefetch(std::uint64_t hash) const { __builtin_prefetch(&m_slots[hash & m_mask]); }

  private:
    struct SSlot {
        SKey<Word> key;
        std::uint32_t id1;  // id + 1; 0 for an empty slot
    };

    void Allocate(std::int64_t capacity) {
        // Cleared here rather than taken as fresh zero pages from the
        // system: a host that reads file after file gets the same warm
        // memory back from the allocator, which clears faster than the
        // system can map cleared pages in.
        m_slots.reset(
            static_cast<SSlot*>(CQEL_Allocate::AllocateMemory(sizeof(SSlot) * std::size_t(capacity))));
        std::memset(static_cast<void*>(m_slots.get()), 0, sizeof(SSlot) * std::size_t(capacity));
        m_mask = std::uint64_t(capacity - 1);
    }
    void Grow() {
        CRawStorage<SSlot> old = std::move(m_slots);
        std::uint64_t const oldCapacity = m_mask + 1;
        Allocate(std::int64_t(2 * oldCapacity));
        for (std::uint64_t j = 0; j < oldCapacity; ++j) {
            if (old[j].id1 == 0) continue;
            std::uint64_t i = Hash(old[j].key) & m_mask;
            while (m_slots[i].id1 != 0)
                i = (i + 1) & m_mask;
            m_slots[i] = old[j];
        }
    }

    CRawStorage<SSlot> m_slots;
    std::uint64_t m_mask = 0;
    std::uint32_t m_count = 0;
};

// A small direct-mapped cache of recently seen points in front of the
// table: the corners of a mesh file come back to a vertex within a few
// hundred triangles (the other triangles of its fan, the next row of a
// strip), so most lookups are answered from the cache, which stays in the
// processor's cache, and only first sightings go to the large table.
template <class Word>
class CRecentPoints {
  public:
    static constexpr int kBits = 13;
    CRecentPoints() : m_slots(std::make_unique<SSlot[]>(std::size_t(1) << kBits)) {}
    // The id of key, or -1 (a slot with id1 0 never matches: keys are stored with their id).
    int Find(SKey<Word> const& key, std::uint64_t hash) const {
        SSlot const& slot = m_slots[std::size_t(hash >> (64 - kBits))];
        return slot.id1 != 0 && slot.key == key ? int(slot.id1 - 1) : -1;
    }
    void Put(SKey<Word> const& key, std::uint64_t hash, std::uint32_t id) {
        SSlot& slot = m_slots[std::size_t(hash >> (64 - kBits))];
        slot.key = key;
        slot.id1 = id + 1;
    }

  private:
    struct SSlot {
        SKey<Word> key;
        std::uint32_t id1;
    };
    std::unique_ptr<SSlot[]> m_slots;
};

// A batch of points whose table slots are fetched ahead (prefetch) before
// any is looked up, so that their cache misses overlap; they are then
// looked up in order, which keeps the numbering.
template <class Word>
class CBatchedLookUp {
  public:
    static constexpr int kBatch = 16;
    // done(item, id, inserted) for each item after the look-up.
    template <class Done>
    void Add(CWeldTable<Word>& table, SKey<Word> const& key, std::uint64_t hash, std::int64_t item,
             Done&& done) {
        table.Prefetch(hash);
        m_pending[m_count++] = {key, hash, item};
        if (m_count == kBatch) Flush(table, done);
    }
    template <class Done>
    void Flush(CWeldTable<Word>& table, Done&& done) {
        for (int j = 0; j < m_count; ++j) {
            bool inserted = false;
            std::uint32_t const id = table.FindOrInsert(m_pending[j].key, m_pending[j].hash, inserted);
            done(m_pending[j], id, inserted);
        }
        m_count = 0;
    }

    struct SPending {
        SKey<Word> key;
        std::uint64_t hash;
        std::int64_t item;
    };

  private:
    SPending m_pending[kBatch];
    int m_count = 0;
};

// Welds the points of groups [begin, end) into table: ids[i] becomes the
// point's id in the table, and first lists each new id's first point.
template <class Word>
void WeldRange(SPointSource const& source, std::int64_t begin, std::int64_t end, CWeldTable<Word>& table,
               int* ids, std::vector<int>& first) {
    CRecentPoints<Word> recent;
    CBatchedLookUp<Word> batch;
    auto done = [&](typename CBatchedLookUp<Word>::SPending const& p, std::uint32_t id, bool inserted) {
        if (inserted) first.push_back(int(p.item));
        recent.Put(p.key, p.hash, id);
        ids[p.item] = int(id);
    };
    int const groupSize = source.groupSize;
    for (std::int64_t g = begin; g < end; ++g) {
        unsigned char const* group = source.first + g * source.groupStride;
        for (int k = 0; k < groupSize; ++k) {
            SKey<Word> const key = LoadKey<Word>(group + k * source.pointStride);
            std::uint64_t const h = Hash(key);
            std::int64_t const i = g * groupSize + k;
            int const known = recent.Find(key, h);
            if (known >= 0)
                ids[i] = known;
            else
                batch.Add(table, key, h, i, done);
        }
    }
    batch.Flush(table, done);
}

// Each part welds its own range of points into a table of its own, side by
// side; then the vertices of parts 1, 2, ... are looked up in the table of
// part 0, in order, which numbers the new ones after it, and the parts'
// ids are mapped side by side. Numbering by first point holds throughout:
// a part's points all come after those of the parts before it.
template <class Word>
int WeldInParts(SPointSource const& source, int* ids, CBuffer<int>& vertexPoint) {
    std::int64_t const count = source.Count();
    int const parts = PartsForElements(count);
    auto groupBegin = [&](int part) { return source.groups * part / parts; };
    std::vector<std::unique_ptr<CWeldTable<Word>>> tables(static_cast<std::size_t>(parts));
    std::vector<std::vector<int>> first(static_cast<std::size_t>(parts));
    RunInParts(parts, [&](int part) {
        std::int64_t const groups = groupBegin(part + 1) - groupBegin(part);
        tables[std::size_t(part)] = std::make_unique<CWeldTable<Word>>(groups * source.groupSize / 6);
        first[std::size_t(part)].reserve(std::size_t(groups * source.groupSize / 6 + 16));
        WeldRange(source, groupBegin(part), groupBegin(part + 1), *tables[std::size_t(part)], ids,
                  first[std::size_t(part)]);
    });

    std::vector<int>& vertices = first[0];
    CWeldTable<Word>& global = *tables[0];
    std::vector<std::vector<int>> map(static_cast<std::size_t>(parts));
    for (int part = 1; part < parts; ++part) {
        tables[std::size_t(part)].reset();
        std::vector<int> const& local = first[std::size_t(part)];
        std::vector<int>& to = map[std::size_t(part)];
        to.resize(local.size());
        CBatchedLookUp<Word> batch;
        auto done = [&](typename CBatchedLookUp<Word>::SPending const& p, std::uint32_t id, bool inserted) {
            if (inserted) vertices.push_back(local[std::size_t(p.item)]);
            to[std::size_t(p.item)] = int(id);
        };
        for (std::size_t l = 0; l < local.size(); ++l) {
            SKey<Word> const key = LoadKey<Word>(source.At(local[l]));
            batch.Add(global, key, Hash(key), std::int64_t(l), done);
        }
        batch.Flush(global, done);
    }
    if (vertices.size() > std::size_t(std::numeric_limits<int>::max()))
        AssemblyOp().Throw(QEL_INVALID_PARAMETER, "corners", "Too many distinct vertices");
    vertexPoint = CBuffer<int>(std::int64_t(vertices.size()));
    std::copy(vertices.begin(), vertices.end(), vertexPoint.data());
    if (parts > 1)
        RunInParts(parts - 1, [&](int p) {
            int const part = p + 1;
            std::vector<int> const& to = map[std::size_t(part)];
            for (std::int64_t i = groupBegin(part) * source.groupSize,
                              end = groupBegin(part + 1) * source.groupSize;
                 i < end; ++i)
                ids[i] = to[std::size_t(ids[i])];
        });
    return int(vertices.size());
}

}  // namespace

int Weld(SPointSource const& source, int* ids, CBuffer<int>& vertexPoint) {
    return source.isDouble ? WeldInParts<std::uint64_t>(source, ids, vertexPoint)
                           : WeldInParts<std::uint32_t>(source, ids, vertexPoint);
}

// --- welding within a tolerance --------------------------------------------------

namespace {

struct SCell {
    std::int64_t c[3];
    bool operator==(SCell const&) const = default;
};
struct SCellHash {
    std::size_t operator()(SCell const& cell) const {
        return std::size_t(Mix(std::uint64_t(cell.c[0]) * 0x9E3779B97F4A7C15ull ^
                               std::rotl(std::uint64_t(cell.c[1]) * 0xC2B2AE3D27D4EB4Full, 21) ^
                               std::rotl(std::uint64_t(cell.c[2]) * 0x165667B19E3779F9ull, 42)));
    }
};

int Find(std::vector<int>& parent, int v) {
    while (parent[std::size_t(v)] != v) {
        parent[std::size_t(v)] = parent[std::size_t(parent[std::size_t(v)])];
        v = parent[std::size_t(v)];
    }
    return v;
}

}  // namespace

int MergeWithinTolerance(SPointSource const& source, CBuffer<int>& vertexPoint, double tolerance,
                         CBuffer<int>& remap) {
    int const vertices = int(vertexPoint.size());
    std::vector<double> xyz(std::size_t(vertices) * 3);
    for (int v = 0; v < vertices; ++v)
        source.Get(vertexPoint[v], &xyz[std::size_t(v) * 3]);

    // Cells twice the tolerance wide: two points closer than the tolerance
    // lie in the same or in neighbouring cells even after the rounding of
    // the division. Cell numbers are clamped far out, which only joins far
    // cells (their points are still compared exactly).
    double const cellSize = 2.0 * tolerance;
    constexpr double kClamp = 1125899906842624.0;  // 2^50
    std::unordered_map<SCell, std::vector<int>, SCellHash> cells;
    std::vector<SCell> cellOf(static_cast<std::size_t>(vertices));
    std::vector<bool> finite(static_cast<std::size_t>(vertices));
    for (int v = 0; v < vertices; ++v) {
        double const* p = &xyz[std::size_t(v) * 3];
        finite[std::size_t(v)] = std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
        if (!finite[std::size_t(v)]) continue;
        SCell cell;
        for (int a = 0; a < 3; ++a)
            cell.c[a] = std::int64_t(std::clamp(std::floor(p[a] / cellSize), -kClamp, kClamp));
        cellOf[std::size_t(v)] = cell;
        cells[cell].push_back(v);
    }

    // Every pair closer than the tolerance joins the same group (union-find,
    // the smaller vertex number as root, so a group's root is its first vertex).
    std::vector<int> parent(static_cast<std::size_t>(vertices));
    for (int v = 0; v < vertices; ++v)
        parent[std::size_t(v)] = v;
    double const limit = tolerance * tolerance;
    for (int v = 0; v < vertices; ++v) {
        if (!finite[std::size_t(v)]) continue;
        double const* p = &xyz[std::size_t(v) * 3];
        SCell const home = cellOf[std::size_t(v)];
        for (int dx = -1; dx <= 1; ++dx)
            for (int dy = -1; dy <= 1; ++dy)
                for (int dz = -1; dz <= 1; ++dz) {
                    auto const found = cells.find(SCell{{home.c[0] + dx, home.c[1] + dy, home.c[2] + dz}});
                    if (found == cells.end()) continue;
                    for (int w : found->second) {
                        if (w <= v) continue;  // each pair once
                        double const* q = &xyz[std::size_t(w) * 3];
                        double const ex = p[0] - q[0], ey = p[1] - q[1], ez = p[2] - q[2];
                        if (ex * ex + ey * ey + ez * ez >= limit) continue;
                        int a = Find(parent, v), b = Find(parent, w);
                        if (a == b) continue;
                        if (a > b) std::swap(a, b);
                        parent[std::size_t(b)] = a;
                    }
                }
    }

    remap = CBuffer<int>(vertices);
    int groups = 0;
    for (int v = 0; v < vertices; ++v) {
        int const root = Find(parent, v);
        if (root == v) {
            vertexPoint[groups] = vertexPoint[v];
            remap[v] = groups++;
        } else {
            remap[v] = remap[root];  // root < v: numbered already
        }
    }
    vertexPoint.Shrink(groups);
    return groups;
}

// --- connecting ----------------------------------------------------------------------

namespace {

inline std::int64_t NextEdge(std::int64_t e) {
    return e % 3 == 2 ? e - 2 : e + 1;
}

}  // namespace

namespace {

// Drops triangles with two equal corners, in place, keeping the order;
// origin lists the kept triangles' input numbers. Returns how many are kept.
std::int64_t DropDegenerate(int* c, std::int64_t triangles, CBuffer<int>& origin, std::int64_t degenerate) {
    origin = CBuffer<int>(triangles - degenerate);
    std::int64_t kept = 0;
    for (std::int64_t t = 0; t < triangles; ++t) {
        int const a = c[3 * t], b = c[3 * t + 1], d = c[3 * t + 2];
        if (a == b || b == d || a == d) continue;
        c[3 * kept] = a, c[3 * kept + 1] = b, c[3 * kept + 2] = d;
        origin[kept++] = int(t);
    }
    return kept;
}

}  // namespace

int SConnected::VertexEdge(int v) const {
    int edge = -1;
    for (std::int64_t i = start[v], stop = start[v + 1]; i < stop; ++i) {
        int const e = outgoing[i].edge;
        if (pairs[e] < 0) return e;
        if (edge < 0) edge = e;
    }
    return edge;
}

// Few passes, each split over the processors: a pass over the whole mesh is
// cheap next to handing parts to threads and waiting for the slowest.
void Connect(CBuffer<int>&& corners, std::int64_t triangles, int vertices, SConnected& result) {
    result = SConnected{};
    int const parts = PartsForElements(triangles);
    auto partBegin = [&](std::int64_t count, int part) { return count * part / parts; };
    int* const c = corners.data();

    // The half-edges leaving each vertex, grouped by vertex (a counting
    // sort). Each part counts its own half-edges, so that no count is
    // shared between threads; within a vertex they stay in half-edge order.
    // Triangles with two equal corners are counted on the way and, should
    // there be any, dropped before counting again.
    std::vector<std::vector<int>> counts(static_cast<std::size_t>(parts));
    std::vector<std::int64_t> dropped(static_cast<std::size_t>(parts), 0);
    auto count = [&](int part) {
        std::vector<int>& n = counts[std::size_t(part)];
        n.assign(std::size_t(vertices), 0);
        std::int64_t degenerate = 0;
        for (std::int64_t t = partBegin(triangles, part), end = partBegin(triangles, part + 1); t < end;
             ++t) {
            int const a = c[3 * t], b = c[3 * t + 1], d = c[3 * t + 2];
            ++n[std::size_t(a)], ++n[std::size_t(b)], ++n[std::size_t(d)];
            degenerate += a == b || b == d || a == d;
        }
        dropped[std::size_t(part)] = degenerate;
    };
    RunInParts(parts, count);
    for (std::int64_t n : dropped)
        result.degenerate += n;
    if (result.degenerate > 0) {
        triangles = DropDegenerate(c, triangles, result.origin, result.degenerate);
        RunInParts(parts, count);
    }
    result.triangles = triangles;
    std::int64_t const halfEdges = 3 * triangles;

    result.start = CBuffer<std::int64_t>(std::int64_t(vertices) + 1);
    std::int64_t* const start = result.start.data();
    std::int64_t at = 0;
    for (int v = 0; v < vertices; ++v) {
        start[v] = at;
        for (auto& n : counts) {
            int const here = n[std::size_t(v)];
            n[std::size_t(v)] = int(at - start[v]);  // the part's first place within the vertex
            at += here;
        }
    }
    start[vertices] = at;
    result.outgoing = CBuffer<SOutgoing>(halfEdges);
    result.pairs = CBuffer<int>(halfEdges);
    SOutgoing* const outgoing = result.outgoing.data();
    int* const pairs = result.pairs.data();
    RunInParts(parts, [&](int part) {
        std::vector<int>& place = counts[std::size_t(part)];
        std::int64_t const begin = 3 * partBegin(triangles, part), end = 3 * partBegin(triangles, part + 1);
        for (std::int64_t e = begin; e < end; ++e) {
            int const a = c[e];
            outgoing[start[a] + place[std::size_t(a)]++] = {c[NextEdge(e)], int(e)};
        }
        std::fill(pairs + begin, pairs + end, -1);
    });
    counts.clear();

    // A half-edge a->b pairs with b->a when these are the only two
    // half-edges between a and b. The vertices are walked in order, each
    // with its own list at hand, and each vertex pair is decided once: by
    // its smaller vertex when half-edges run both ways, else by the vertex
    // they leave (at the first such half-edge in its list).
    struct SCounts {
        std::int64_t paired = 0, nonManifold = 0, conflicts = 0;
    };
    std::vector<SCounts> found(static_cast<std::size_t>(parts));
    RunInParts(parts, [&](int part) {
        SCounts n;
        for (std::int64_t a = partBegin(vertices, part), stop = partBegin(vertices, part + 1); a < stop;
             ++a) {
            SOutgoing const* const first = outgoing + start[a];
            SOutgoing const* const last = outgoing + start[a + 1];
            for (SOutgoing const* i = first; i < last; ++i) {
                int const b = i->end;
                int same = 1;
                bool earlier = false;
                for (SOutgoing const* j = first; j < last; ++j)
                    if (j != i && j->end == b) ++same, earlier = earlier || j < i;
                if (earlier) continue;
                int opposite = 0, partner = -1;
                for (std::int64_t k = start[b], end = start[b + 1]; k < end; ++k)
                    if (outgoing[k].end == a) ++opposite, partner = outgoing[k].edge;
                if (opposite > 0 && a > b) continue;  // b decides
                if (same == 1 && opposite == 1) {
                    pairs[i->edge] = partner;
                    pairs[partner] = i->edge;
                    ++n.paired;
                } else if (same + opposite >= 3) {
                    ++n.nonManifold;
                } else if (same == 2) {
                    ++n.conflicts;
                }
            }
        }
        found[std::size_t(part)] = n;
    });
    result.boundaryHalfEdges = halfEdges;
    for (SCounts const& n : found) {
        result.boundaryHalfEdges -= 2 * n.paired;
        result.nonManifoldEdges += n.nonManifold;
        result.orientationConflicts += n.conflicts;
    }
    result.corners = std::move(corners);
    result.corners.Shrink(halfEdges);
}

}  // namespace QEL::Core::Assembly
