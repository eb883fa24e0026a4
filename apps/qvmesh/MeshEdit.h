/// \file
/// Commands that read a mesh, change it and write it.
#pragma once

#include "qvmesh/Command.h"
#include "qvmesh/MeshFile.h"

namespace qvmesh {

/// For what works along edges: welds, as a stage of `job`, a mesh in which every triangle has three
/// vertices of its own.
void weldSoup(qvGeom::CompactMesh& mesh, Job& job, double share);

/// A command that takes a mesh and `-o FILE`. What is left to each is the change.
class MeshEdit : public Command {
public:
    using Command::Command;

    void declareArguments(CLI::App& app) final;
    void run(Job& job) final;

protected:
    ~MeshEdit() = default;

    /// Declares what the command takes besides.
    virtual void declareOptions(CLI::App&) {}

    /// Changes the mesh as stages of `job` that take half of the whole, and reports what it did.
    virtual void edit(Job& job, qvGeom::CompactMesh& mesh) = 0;

private:
    InputMesh input_;
    OutputMesh output_;
};

} // namespace qvmesh
