#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Failure.h"
#include "qvmesh/formats/Bytes.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/ParseNumber.h"

namespace qvmesh {
namespace {

enum class Encoding { Text, LittleEndian, BigEndian };
enum class Type { None, Int8, UInt8, Int16, UInt16, Int32, UInt32, Float, Double };

Type typeOf(const std::string& name) {
    constexpr std::pair<std::string_view, Type> kNames[] = {
        {"char", Type::Int8},     {"int8", Type::Int8},     {"uchar", Type::UInt8},
        {"uint8", Type::UInt8},   {"short", Type::Int16},   {"int16", Type::Int16},
        {"ushort", Type::UInt16}, {"uint16", Type::UInt16}, {"int", Type::Int32},
        {"int32", Type::Int32},   {"uint", Type::UInt32},   {"uint32", Type::UInt32},
        {"float", Type::Float},   {"float32", Type::Float}, {"double", Type::Double},
        {"float64", Type::Double}};
    for (const auto& [known, type] : kNames) {
        if (name == known)
            return type;
    }
    return Type::None;
}

/// A value that each item of an element has, or a list of values.
struct Property {
    std::string name;
    Type type = Type::None;
    Type countType = Type::None; // of a list
};

/// A table of the file.
struct Element {
    std::string name;
    std::int64_t count = 0;
    std::vector<Property> properties;
};

/// The places of a vertex's values, in the order of x, y, z, nx, ny, nz, s, t.
using VertexValues = std::array<float, 8>;
constexpr std::size_t kNormalSlot = 3;
constexpr std::size_t kUVSlot = 6;
constexpr std::size_t kNoSlot = 8;

std::size_t slotOf(const Property& property) {
    constexpr std::string_view kNames[][kNoSlot] = {
        {"x", "y", "z", "nx", "ny", "nz", "s", "t"},
        {"", "", "", "", "", "", "u", "v"},
        {"", "", "", "", "", "", "texture_u", "texture_v"},
        {"", "", "", "", "", "", "texture_s", "texture_t"}};
    for (const auto& names : kNames) {
        const auto* found = std::find(std::begin(names), std::end(names), property.name);
        if (found != std::end(names) && property.countType == Type::None)
            return static_cast<std::size_t>(found - std::begin(names));
    }
    return kNoSlot;
}

class PlyReader {
public:
    explicit PlyReader(const std::string& path) : path_(path) {
        std::ifstream file(path, std::ios::binary);
        text_.assign(std::istreambuf_iterator<char>(file), {});
        rest_ = text_;
    }

    MeshData read() {
        readHeader();
        for (const Element& element : elements_) {
            place_ = &element;
            if (element.name == "vertex")
                readVertices(element);
            else
                readFaces(element);
        }
        return std::move(mesh_);
    }

private:
    void readHeader() {
        constexpr std::string_view kMagic = "ply";
        if (!rest_.starts_with(kMagic))
            fail("no PLY file starts like this");
        // The line end that the first line has: in binary data another might be a number.
        const std::size_t magicEnd = rest_.find_first_of("\r\n");
        const bool isPair = rest_.substr(std::min(magicEnd, rest_.size())).starts_with("\r\n");
        lineEnd_ = rest_.substr(std::min(magicEnd, rest_.size()), isPair ? 2 : 1);

        bool hasFormat = false;
        for (std::string word; word != "end_header";) {
            std::istringstream line(takeLine());
            word.clear();
            line >> word;
            if (word == "format")
                hasFormat = readFormat(line);
            else if (word == "element")
                readElement(line);
            else if (word == "property")
                readProperty(line);
        }
        if (!hasFormat)
            fail("the header does not name a known format");
    }

    std::string takeLine() {
        const std::size_t end = lineEnd_.empty() ? rest_.npos : rest_.find(lineEnd_);
        if (end == rest_.npos)
            fail("the header has no end");
        std::string line(rest_.substr(0, end));
        rest_.remove_prefix(end + lineEnd_.size());
        return line;
    }

    bool readFormat(std::istream& line) {
        std::string name;
        line >> name;
        if (name == "binary_little_endian")
            encoding_ = Encoding::LittleEndian;
        else if (name == "binary_big_endian")
            encoding_ = Encoding::BigEndian;
        else
            return name == "ascii";
        return true;
    }

    void readElement(std::istream& line) {
        Element element;
        if (!(line >> element.name >> element.count) || element.count < 0)
            fail("the header counts an element wrongly");
        elements_.push_back(element);
    }

    void readProperty(std::istream& line) {
        Property property;
        std::string type;
        line >> type;
        if (type == "list") {
            line >> type;
            property.countType = typeOf(type);
            if (property.countType == Type::None)
                fail("the header has a list without a known type of count");
            line >> type;
        }
        property.type = typeOf(type);
        line >> property.name;
        if (property.type == Type::None || elements_.empty())
            fail("the header has a property without a known type or element");
        elements_.back().properties.push_back(property);
    }

    void readVertices(const Element& element) {
        std::vector<std::size_t> slots;
        for (const Property& property : element.properties)
            slots.push_back(slotOf(property));
        const auto has = [&](std::size_t slot) {
            return std::find(slots.begin(), slots.end(), slot) != slots.end();
        };
        if (!has(0) || !has(1) || !has(2))
            fail("the vertices have no x, y and z");
        const bool hasNormals = has(kNormalSlot) && has(kNormalSlot + 1) && has(kNormalSlot + 2);
        const bool hasUVs = has(kUVSlot) && has(kUVSlot + 1);

        for (item_ = 0; item_ < element.count; ++item_) {
            VertexValues value = {};
            for (std::size_t i = 0; i < slots.size(); ++i) {
                if (slots[i] == kNoSlot)
                    readList(element.properties[i]);
                else
                    value[slots[i]] = takeValue<float>(element.properties[i].type);
            }
            mesh_.vertices.push_back({value[0], value[1], value[2]});
            if (hasNormals)
                mesh_.normals.push_back({value[3], value[4], value[5]});
            if (hasUVs)
                mesh_.uvs.push_back({value[6], value[7]});
        }
    }

    /// Takes what has the vertices of polygons or strips, and passes over all else.
    void readFaces(const Element& element) {
        // Without properties there is nothing to go through, however many there are said to be.
        const std::int64_t count = element.properties.empty() ? 0 : element.count;
        for (item_ = 0; item_ < count; ++item_) {
            for (const Property& property : element.properties) {
                readList(property);
                if (property.name != "vertex_indices" && property.name != "vertex_index")
                    continue;
                if (element.name == "face")
                    addFan(list_, mesh_.triangles);
                else if (element.name == "tristrips")
                    addStrips();
            }
        }
    }

    /// Every third vertex makes a triangle with the two before it, in turns one way round and the
    /// other; a negative one starts anew.
    void addStrips() {
        std::size_t start = 0;
        for (std::size_t i = 0; i < list_.size(); ++i) {
            if (list_[i] < 0)
                start = i + 1;
            else if (i >= start + 2 && (i - start) % 2 == 0)
                mesh_.triangles.push_back({{list_[i - 2], list_[i - 1], list_[i]}});
            else if (i >= start + 2)
                mesh_.triangles.push_back({{list_[i - 1], list_[i - 2], list_[i]}});
        }
    }

    /// A single value counts as a list of one.
    void readList(const Property& property) {
        const bool isList = property.countType != Type::None;
        list_.clear();
        for (int count = isList ? takeValue<int>(property.countType) : 1; count > 0; --count)
            list_.push_back(takeValue<int>(property.type));
    }

    template <class Number>
    Number takeValue(Type type) {
        if (encoding_ == Encoding::Text)
            return isReal(type) ? toNumber<Number>(takeText<float>()) : takeText<Number>();
        switch (type) {
        case Type::None:
            break;
        case Type::Int8:
            return static_cast<Number>(takeBytes<std::int8_t>());
        case Type::UInt8:
            return static_cast<Number>(takeBytes<std::uint8_t>());
        case Type::Int16:
            return static_cast<Number>(takeBytes<std::int16_t>());
        case Type::UInt16:
            return static_cast<Number>(takeBytes<std::uint16_t>());
        case Type::Int32:
            return static_cast<Number>(takeBytes<std::int32_t>());
        case Type::UInt32:
            return static_cast<Number>(takeBytes<std::uint32_t>());
        case Type::Float:
            return toNumber<Number>(takeBytes<float>());
        case Type::Double:
            return toNumber<Number>(takeBytes<double>());
        }
        return {};
    }

    static bool isReal(Type type) { return type == Type::Float || type == Type::Double; }

    /// Indices are never fractions; a value of another kind is only passed over.
    template <class Number, class Real>
    static Number toNumber(Real value) {
        if constexpr (std::is_integral_v<Number>)
            return 0;
        else if (std::abs(value) > std::numeric_limits<Number>::max())
            return std::numeric_limits<Number>::infinity(); // the mesh will be refused
        else
            return static_cast<Number>(value);
    }

    template <class Value>
    Value takeBytes() {
        std::array<char, sizeof(Value)> bytes;
        if (rest_.size() < bytes.size())
            failAtItem("is cut short");
        rest_.copy(bytes.data(), bytes.size());
        rest_.remove_prefix(bytes.size());
        if (encoding_ == Encoding::BigEndian)
            std::reverse(bytes.begin(), bytes.end());
        return std::bit_cast<Value>(bytes);
    }

    template <class Number>
    Number takeText() {
        constexpr std::string_view kBlanks = " \t\r\n";
        rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
        Number number = 0;
        if (!takeNumber(rest_, number))
            failAtItem("has no number where one belongs");
        if (!rest_.empty() && kBlanks.find(rest_.front()) == kBlanks.npos)
            failAtItem("has something else behind a number");
        return number;
    }

    [[noreturn]] void fail(const std::string& fault) const { throw Failure(path_ + ": " + fault); }

    [[noreturn]] void failAtItem(const char* fault) const {
        fail(place_->name + " " + std::to_string(item_) + " " + fault);
    }

    const std::string path_;
    std::string text_; // the whole file
    std::string_view rest_;
    std::string_view lineEnd_;
    Encoding encoding_ = Encoding::Text;
    std::vector<Element> elements_;
    const Element* place_ = nullptr;
    std::int64_t item_ = 0;
    std::vector<int> list_; // read last; kept for its memory
    MeshData mesh_;
};

} // namespace

// Read here since the scene package misreads binary data that begins with the byte of a line feed,
// rounds decimal fractions wrongly, and hangs on a file cut short.
MeshData readPly(const std::string& path) { return PlyReader(path).read(); }

std::string writePly(const qvGeom::CompactMesh& mesh) { return writePly(mesh, {}); }

std::string writePly(const qvGeom::CompactMesh& mesh, std::span<const float> quality) {
    std::string file = "ply\nformat binary_little_endian 1.0\nelement vertex " +
                       std::to_string(mesh.getNumVertices()) +
                       "\nproperty float x\nproperty float y\nproperty float z\n";
    if (mesh.getNormals())
        file += "property float nx\nproperty float ny\nproperty float nz\n";
    if (mesh.getUVs())
        file += "property float s\nproperty float t\n";
    if (!quality.empty())
        file += "property float quality\n";
    file += "element face " + std::to_string(mesh.getNumTriangles()) +
            "\nproperty list uchar int vertex_indices\nend_header\n";

    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        appendBytes(file, mesh.getVertices()[v]);
        if (mesh.getNormals())
            appendBytes(file, mesh.getNormals()[v]);
        if (mesh.getUVs())
            appendBytes(file, mesh.getUVs()[v]);
        if (!quality.empty())
            appendBytes(file, quality[static_cast<std::size_t>(v)]);
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        file += '\3';
        appendBytes(file, mesh.getTriangles()[t]);
    }
    return file;
}

} // namespace qvmesh
