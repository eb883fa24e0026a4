#include "qvmesh/formats/Bytes.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/NumberLines.h"

namespace qvmesh {

std::string writeObjSegments(std::span<const Segment> segments) {
    NumberLines lines;
    int numVertices = 0;
    for (const auto& [from, to] : segments) {
        lines.line("v", from.x, from.y, from.z);
        lines.line("v", to.x, to.y, to.z);
        numVertices += 2;
        lines.line("l", numVertices - 1, numVertices);
    }
    return lines.take();
}

std::string writePlySegments(std::span<const Segment> segments) {
    std::string file = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                       std::to_string(2 * segments.size()) +
                       "\nproperty float x\nproperty float y\nproperty float z\nelement edge " +
                       std::to_string(segments.size()) +
                       "\nproperty int vertex1\nproperty int vertex2\nend_header\n";
    for (const Segment& segment : segments)
        appendBytes(file, segment);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const int from = static_cast<int>(2 * i);
        appendBytes(file, from);
        appendBytes(file, from + 1);
    }
    return file;
}

} // namespace qvmesh
