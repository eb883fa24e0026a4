#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "qvmesh/formats/Bytes.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {
namespace {

using Json = nlohmann::ordered_json;

// The numbers that stand for these things in a file.
constexpr int kFloat = 5126;
constexpr int kUnsignedInt = 5125;
constexpr std::uint32_t kMagic = 0x46546c67; // "glTF"
constexpr std::uint32_t kJsonChunk = 0x4e4f534a;
constexpr std::uint32_t kBinaryChunk = 0x004e4942;

/// A scene of one mesh: its description, and the block of numbers that this refers to.
class GltfScene {
public:
    explicit GltfScene(const qvGeom::CompactMesh& mesh) {
        const int numVertices = mesh.getNumVertices();
        Json attributes;
        attributes["POSITION"] = addArray(mesh.getVerticesRaw(), numVertices, "VEC3", kFloat);
        addExtent(mesh);
        if (mesh.getNormals())
            attributes["NORMAL"] = addArray(mesh.getNormalsRaw(), numVertices, "VEC3", kFloat);
        if (mesh.getUVs()) {
            std::vector<qvGeom::MeshUV> uvs(mesh.getUVs(), mesh.getUVs() + numVertices);
            for (qvGeom::MeshUV& uv : uvs)
                uv.v = 1 - uv.v; // the format counts from the upper edge of the texture
            attributes["TEXCOORD_0"] = addArray(&uvs.data()->u, numVertices, "VEC2", kFloat);
        }
        const int indices =
            addArray(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles(), "SCALAR", kUnsignedInt);

        json_["asset"] = {{"version", "2.0"}, {"generator", "qvmesh"}};
        json_["scene"] = 0;
        json_["scenes"] = {{{"nodes", {0}}}};
        json_["nodes"] = {{{"mesh", 0}}};
        json_["meshes"] = {{{"primitives", {{{"attributes", attributes}, {"indices", indices}}}}}};
        json_["buffers"] = {{{"byteLength", bytes_.size()}}};
    }

    /// One text, with the numbers as a long word in it.
    std::string toText() && {
        json_["buffers"][0]["uri"] = "data:application/octet-stream;base64," + toBase64(bytes_);
        return json_.dump(1) + "\n";
    }

    std::string toBinary() && {
        std::string text = json_.dump();
        text.resize((text.size() + 3) / 4 * 4, ' '); // chunks start at multiples of four
        std::string file;
        appendWords(file, {kMagic, 2, 0, toWord(text.size()), kJsonChunk});
        file += text;
        appendWords(file, {toWord(bytes_.size()), kBinaryChunk});
        file += bytes_;
        const std::uint32_t size = toWord(file.size());
        file.replace(8, 4, reinterpret_cast<const char*>(&size), 4);
        return file;
    }

private:
    /// Returns the number by which the array is referred to.
    template <class Number>
    int addArray(const Number* numbers, int count, const std::string& type, int numberType) {
        const std::size_t width = type == "SCALAR" ? 1 : type == "VEC2" ? 2 : 3;
        const std::size_t size = width * static_cast<std::size_t>(count) * sizeof(Number);
        const int index = static_cast<int>(json_["accessors"].size());
        json_["bufferViews"].push_back(
            {{"buffer", 0}, {"byteOffset", bytes_.size()}, {"byteLength", size}});
        json_["accessors"].push_back({{"bufferView", index},
                                      {"componentType", numberType},
                                      {"count", count},
                                      {"type", type}});
        bytes_.append(reinterpret_cast<const char*>(numbers), size);
        return index;
    }

    /// The format wants it of positions.
    void addExtent(const qvGeom::CompactMesh& mesh) {
        qvGeom::BoundingBox box;
        qvGeom::meshBoundingBox(mesh, box);
        json_["accessors"].back()["min"] = box.min;
        json_["accessors"].back()["max"] = box.max;
    }

    static std::uint32_t toWord(std::size_t size) { return static_cast<std::uint32_t>(size); }

    static void appendWords(std::string& file, std::initializer_list<std::uint32_t> words) {
        for (const std::uint32_t word : words)
            appendBytes(file, word);
    }

    static std::string toBase64(std::string_view bytes) {
        constexpr std::string_view kDigits =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string text;
        text.reserve((bytes.size() + 2) / 3 * 4);
        for (std::size_t i = 0; i < bytes.size(); i += 3) {
            const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
            std::uint32_t group = 0;
            for (std::size_t k = 0; k < 3; ++k)
                group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
            for (std::size_t k = 0; k < 4; ++k)
                text += k <= count ? kDigits[group >> (18 - 6 * k) & 63] : '=';
        }
        return text;
    }

    Json json_;
    std::string bytes_;
};

} // namespace

// Written here since the scene package merges vertices that lie close together on the way.
std::string writeGltf(const qvGeom::CompactMesh& mesh) { return GltfScene(mesh).toText(); }

std::string writeGlb(const qvGeom::CompactMesh& mesh) { return GltfScene(mesh).toBinary(); }

} // namespace qvmesh
