#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"
#include "qvGeom/io/GeomMeshText.h"

#include "support/Measure.h"
#include "support/MeshBuilders.h"
#include "support/Subject.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::TopoMesh;

/// A surface of about so many triangles and a file with its text, removed at the end.
struct Input {
    CompactMesh mesh;
    std::string path;
    std::vector<char> text;

    explicit Input(std::int64_t triangles)
        : mesh(test::wavySurface(static_cast<int>(triangles))),
          path(std::filesystem::temp_directory_path() /
               ("qvGeom_bench" + std::to_string(getpid()) + ".txt")) {
        meshWrite(mesh, path);
        std::ifstream file(path, std::ios::binary);
        text.assign(std::istreambuf_iterator<char>(file), {});
    }

    ~Input() { std::filesystem::remove(path); }

    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
};

double checksumOf(const CompactMesh& mesh) {
    bench::Checksum sum;
    sum.add(mesh.getVerticesRaw(), 3 * mesh.getNumVertices());
    sum.add(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
    return sum.value();
}

double checksumOf(const std::vector<char>& text) {
    bench::Checksum sum;
    for (const char c : text)
        sum.add(c);
    return sum.value();
}

std::vector<char> contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void report(benchmark::State& state, const Input& input, double checksum) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.text.size()));
    state.counters["checksum"] = checksum;
}

void meshReadCompact(benchmark::State& state) {
    const Input input(state.range(0));
    CompactMesh mesh;
    for (auto _ : state)
        meshRead(mesh, input.path);
    report(state, input, checksumOf(mesh));
}

/// The bare loop that reading is measured against: every number parsed and stored, out of memory,
/// nothing checked.
void bareFromChars(benchmark::State& state) {
    const Input input(state.range(0));
    CompactMesh mesh = input.mesh;
    const char* const end = input.text.data() + input.text.size();
    for (auto _ : state) {
        const char* p = input.text.data();
        int number;
        for (int n = 0; n < 2; ++n)
            p = std::from_chars(p, end, number).ptr + 1;
        float* const coordinates = mesh.getVerticesRaw();
        for (int c = 0; c < 3 * mesh.getNumVertices(); ++c)
            p = std::from_chars(p, end, coordinates[c]).ptr + 1;
        int* corner = mesh.getTrianglesRaw();
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            p = std::from_chars(p, end, number).ptr + 1;
            for (int c = 0; c < 3; ++c)
                p = std::from_chars(p, end, *corner++).ptr + 1;
        }
        benchmark::ClobberMemory();
    }
    report(state, input, checksumOf(mesh));
}

void meshWriteCompact(benchmark::State& state) {
    const Input input(state.range(0));
    for (auto _ : state)
        meshWrite(input.mesh, input.path);
    report(state, input, checksumOf(contentOf(input.path)));
}

/// The bare loop that writing is measured against: every number formatted into one buffer.
void bareToChars(benchmark::State& state) {
    const Input input(state.range(0));
    std::vector<char> text(input.text.size() + 64);
    char* const end = text.data() + text.size();
    for (auto _ : state) {
        char* p = text.data();
        const auto put = [&](char behind, auto... number) {
            p = std::to_chars(p, end, number...).ptr;
            *p++ = behind;
        };
        put(' ', input.mesh.getNumVertices());
        put('\n', input.mesh.getNumTriangles());
        const float* const coordinates = input.mesh.getVerticesRaw();
        for (int c = 0; c < 3 * input.mesh.getNumVertices(); ++c)
            put(c % 3 == 2 ? '\n' : ' ', static_cast<double>(coordinates[c]),
                std::chars_format::general, 10);
        const int* corner = input.mesh.getTrianglesRaw();
        for (int t = 0; t < input.mesh.getNumTriangles(); ++t, corner += 3) {
            put(' ', 3);
            put(' ', corner[0]);
            put(' ', corner[1]);
            put('\n', corner[2]);
        }
        benchmark::ClobberMemory();
    }
    text.resize(input.text.size());
    report(state, input, checksumOf(text));
}

void meshReadTopo(benchmark::State& state) {
    const Input input(state.range(0));
    double lastEdge = 0;
    for (auto _ : state) {
        TopoMesh mesh;
        meshRead(mesh, input.path);
        lastEdge = mesh.edgeVertex(mesh.edgeIdLimit() - 1);
    }
    report(state, input, lastEdge);
}

void meshWriteTopo(benchmark::State& state) {
    const Input input(state.range(0));
    TopoMesh mesh;
    meshRead(mesh, input.path);
    for (auto _ : state)
        meshWrite(mesh, input.path);
    report(state, input, checksumOf(contentOf(input.path)));
}

BENCHMARK(meshReadCompact)->Apply(bench::sizes);
BENCHMARK(bareFromChars)->Apply(bench::sizes);
BENCHMARK(meshWriteCompact)->Apply(bench::sizes);
BENCHMARK(bareToChars)->Apply(bench::sizes);
BENCHMARK(meshReadTopo)->Apply(bench::sizes);
BENCHMARK(meshWriteTopo)->Apply(bench::sizes);

} // namespace
