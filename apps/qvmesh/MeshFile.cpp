#include "qvmesh/MeshFile.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Failure.h"
#include "qvmesh/Isolated.h"
#include "qvmesh/Job.h"
#include "qvmesh/OutputFile.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/TextLines.h"

namespace qvmesh {

namespace fs = std::filesystem;
using qvGeom::CompactMesh;

namespace {

struct Format {
    const char* extension;
    Reader read;                              // null: by the library itself
    std::string (*write)(const CompactMesh&); // null: by the library itself, or not at all
    bool holdsUVs = false;
};

constexpr Format kFormats[] = {
    {"mesh", nullptr, nullptr},           {"obj", readObj, writeObj, true},
    {"off", readOff, writeOff},           {"stl", readStl, writeStl},
    {"ply", readPly, writePly, true},     {"glb", readScene, writeGlb, true},
    {"gltf", readScene, writeGltf, true},
};

/// A format that can only be read.
constexpr Format kOtherScene = {"", readScene, nullptr};

std::string extensionList() {
    std::string list;
    for (const Format& format : kFormats)
        list += (list.empty() ? "." : ", .") + std::string(format.extension);
    return list;
}

const Format* findFormat(const std::string& extension) {
    const auto found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                    [&](const Format& f) { return f.extension == extension; });
    return found == std::end(kFormats) ? nullptr : found;
}

const Format& formatToRead(const std::string& path) {
    const std::string extension = extensionOf(path);
    if (const Format* format = findFormat(extension))
        return *format;
    if (canReadScene(extension))
        return kOtherScene;
    throw Failure(path + ": is of no known format (known are " + extensionList() + " and others)");
}

void checkIsReadable(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status))
        throw Failure(path + ": " + (error ? error.message() : std::strerror(ENOENT)));
    if (!fs::is_regular_file(status))
        throw Failure(path + ": is not a regular file");
    if (!std::ifstream(path))
        throw Failure(path + ": " + std::strerror(errno));
}

bool allFinite(const float* numbers, std::size_t count) {
    return std::all_of(numbers, numbers + count,
                       [](float number) { return std::isfinite(number); });
}

/// No algorithm sees a mesh that has not passed here.
void checkMesh(const std::string& path, CompactMesh& mesh) {
    const std::size_t numVertices = static_cast<std::size_t>(mesh.getNumVertices());
    const std::size_t numTriangles = static_cast<std::size_t>(mesh.getNumTriangles());
    if (numTriangles == 0)
        throw Failure(path + ": holds no triangles");
    checkIndices(path, numVertices, std::span(mesh.getTriangles(), numTriangles));
    for (std::size_t v = 0; v < numVertices; ++v) {
        if (!allFinite(mesh.getVerticesRaw() + 3 * v, 3))
            throw Failure(path + ": vertex " + std::to_string(v) +
                          " has a coordinate that is not finite");
    }
    if (mesh.getNormals() && !allFinite(mesh.getNormalsRaw(), 3 * numVertices))
        mesh.deleteNormals();
    if (mesh.getUVs() && !allFinite(mesh.getUVsRaw(), 2 * numVertices))
        mesh.deleteUVs();
}

void toMesh(const std::string& path, const MeshData& data, CompactMesh& mesh) {
    if (std::max(data.vertices.size(), data.triangles.size()) > INT_MAX / 3)
        throw Failure(path + ": is larger than a mesh can be");
    const auto orNull = [](const auto& channel) {
        return channel.empty() ? nullptr : channel.data();
    };
    CompactMesh(static_cast<int>(data.vertices.size()), data.vertices.data(), orNull(data.normals),
                orNull(data.uvs), nullptr)
        .swap(mesh);
    mesh.copyTriangles(static_cast<int>(data.triangles.size()),
                       reinterpret_cast<const int*>(data.triangles.data()));
}

} // namespace

CLI::Option* InputMesh::declare(CLI::App& app, const char* argument) {
    return app
        .add_option(argument, path_, "Mesh file to read (" + extensionList() + " and others)")
        ->required()
        ->type_name("FILE");
}

CLI::Option* InputMesh::declareOption(CLI::App& app, const char* name, const std::string& what) {
    return app.add_option(name, path_, what)->type_name("FILE");
}

void InputMesh::read(Job& job, double share, CompactMesh& mesh) const {
    job.stage("read", share, [&](qvUtil::Progress& progress) {
        checkIsReadable(path_);
        if (const Format& format = formatToRead(path_); format.read)
            toMesh(path_, readIsolated(format.read, path_, progress), mesh);
        else
            readText(path_, mesh);
        checkMesh(path_, mesh);
    });
}

void OutputMesh::declare(CLI::App& app, Formats formats) {
    std::vector<std::string> extensions;
    for (const Format& format : kFormats) {
        if (formats == Formats::All || format.holdsUVs)
            extensions.push_back(format.extension);
    }
    option_.declare(app, "Mesh file", extensions)->required();
}

void OutputMesh::prepare(Job& job) { option_.prepare(job); }

void OutputMesh::write(Job& job, double share, const CompactMesh& mesh) {
    write(job, share, mesh, {});
}

void OutputMesh::write(Job& job, double share, const CompactMesh& mesh,
                       std::span<const MeshGroup> groups) {
    option_.write(job, share, [&](const OutputFile& file) {
        if (option_.extension() == "obj")
            return file.write(writeObj(mesh, groups));
        if (const Format& format = *findFormat(option_.extension()); format.write)
            file.write(format.write(mesh));
        else if (!writeText(mesh, file.path()))
            file.fail("not all of it was taken");
    });
}

} // namespace qvmesh
