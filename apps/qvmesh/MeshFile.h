/// \file
/// Meshes from and to files, whatever their format.
#pragma once

#include <span>
#include <string>

#include "qvmesh/OutputOption.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace qvGeom {
class CompactMesh;
}

namespace qvUtil {
class Progress;
}

namespace qvmesh {

class Job;
struct MeshGroup;

/// A mesh file that a command reads.
class InputMesh {
public:
    InputMesh() = default;

    /// For commands that declare an argument of their own.
    explicit InputMesh(const std::string& path) : path_(path) {}

    /// Declares the positional argument that names the file, and is required unless the caller
    /// says otherwise.
    CLI::Option* declare(CLI::App& app, const char* argument);

    /// The same for a file that an option, which is not required, names.
    CLI::Option* declareOption(CLI::App& app, const char* name, const std::string& what);

    const std::string& path() const { return path_; }

    /// Replaces `mesh`, as a stage of `job`. A mesh from here has triangles, its indices are in
    /// range and its coordinates finite; normals and UVs that are not finite are left out. Throws
    /// Failure or Cancelled.
    void read(Job& job, double share, qvGeom::CompactMesh& mesh) const;

private:
    std::string path_;
};

/// A mesh file that a command writes.
class OutputMesh {
public:
    /// Which formats will do: any, or those that hold texture coordinates.
    enum class Formats { All, WithUVs };

    /// Declares the options that name the file and its format.
    void declare(CLI::App& app, Formats formats = Formats::All);

    const std::string& path() const { return option_.path(); }

    /// Refuses at once what could only fail in the end. Throws Failure.
    void prepare(Job& job);

    /// Throws Failure when the file is `input`.
    void keepApartFrom(const std::string& input) const { option_.keepApartFrom(input); }

    /// Writes the mesh as the last stage of `job`. Throws Failure or Cancelled, and then whatever
    /// the file held is still there.
    void write(Job& job, double share, const qvGeom::CompactMesh& mesh);
    /// The same, with the groups in formats that have some.
    void write(Job& job, double share, const qvGeom::CompactMesh& mesh,
               std::span<const MeshGroup> groups);

private:
    OutputOption option_;
};

} // namespace qvmesh
