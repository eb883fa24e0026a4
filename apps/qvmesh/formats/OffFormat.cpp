#include <algorithm>
#include <fstream>
#include <string>
#include <string_view>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Failure.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/NumberLines.h"
#include "qvmesh/formats/ParseNumber.h"

namespace qvmesh {
namespace {

/// Goes through the lines that say something, short of what stands behind a '#'.
class OffLines {
public:
    explicit OffLines(const std::string& path) : path_(path), file_(path) {}

    /// Goes to the next line.
    void next() {
        do {
            ++number_;
            if (!std::getline(file_, text_))
                fail("the file ends too early");
            rest_ = std::string_view(text_).substr(0, text_.find('#'));
            skipBlanks();
        } while (rest_.empty());
    }

    /// Passes over the rest of a first word that ends in "OFF".
    void keyword() {
        const std::string_view word = rest_.substr(0, rest_.find_first_of(kBlanks));
        if (!word.ends_with("OFF"))
            fail("no OFF file starts like this");
        rest_.remove_prefix(word.size());
        skipBlanks();
    }

    bool atEnd() const { return rest_.empty(); }

    template <class Number>
    Number number() {
        Number value = 0;
        if (!takeNumber(rest_, value) ||
            (!rest_.empty() && kBlanks.find(rest_.front()) == kBlanks.npos))
            fail("a number is missing or out of range");
        skipBlanks();
        return value;
    }

    [[noreturn]] void fail(const char* fault) const {
        throw Failure(path_ + ":" + std::to_string(number_) + ": " + fault);
    }

private:
    static constexpr std::string_view kBlanks = " \t\r";

    void skipBlanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
    }

    const std::string path_;
    std::ifstream file_;
    std::string text_;
    std::string_view rest_; // of the text, not yet read
    int number_ = 0;
};

} // namespace

// Read here since the scene package rounds decimal fractions wrongly and pads a file cut short.
// Colours and the like, which follow on the lines of vertices and faces, are passed over.
MeshData readOff(const std::string& path) {
    OffLines lines(path);
    lines.next();
    lines.keyword();
    if (lines.atEnd())
        lines.next();
    const int numVertices = lines.number<int>();
    const int numFaces = lines.number<int>();

    MeshData mesh;
    for (int v = 0; v < numVertices; ++v) {
        lines.next();
        const float x = lines.number<float>();
        const float y = lines.number<float>();
        mesh.vertices.push_back({x, y, lines.number<float>()});
    }
    std::vector<int> polygon;
    for (int f = 0; f < numFaces; ++f) {
        lines.next();
        polygon.clear();
        for (int corner = lines.number<int>(); corner > 0; --corner)
            polygon.push_back(lines.number<int>());
        addFan(polygon, mesh.triangles);
    }
    return mesh;
}

std::string writeOff(const qvGeom::CompactMesh& mesh) {
    NumberLines lines;
    lines.line("OFF");
    lines.line(mesh.getNumVertices(), mesh.getNumTriangles(), 0);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        lines.line(p.x, p.y, p.z);
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const qvGeom::MeshTriangle& corners = mesh.getTriangles()[t];
        lines.line(3, corners[0], corners[1], corners[2]);
    }
    return lines.take();
}

} // namespace qvmesh
