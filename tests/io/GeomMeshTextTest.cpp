#include "qvGeom/io/GeomMeshText.h"

#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "qvGeom/foundation/geometry/TopoMesh.h"

#include "support/CapturedOutput.h"
#include "support/HeardNotices.h"
#include "support/MeshBuilders.h"

namespace {

using qvGeom::CompactMesh;
using qvGeom::TopoMesh;

constexpr const char* kTriangle = "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
constexpr const char* kQuad = "4 1\n0 0 0\n1 0 0\n1 1 0\n0 1 0.25\n4 3 0 1 2\n";

__attribute__((format(printf, 1, 2))) std::string printed(const char* format, ...) {
    char text[400];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

/// A file name of this process, removed at the end, and the error lines printed meanwhile.
class GeomMeshText : public testing::Test {
protected:
    void TearDown() override { std::remove(path_.c_str()); }

    template <class Mesh>
    std::string write(Mesh& mesh) const {
        meshWrite(mesh, path_);
        std::ostringstream text;
        text << std::ifstream(path_, std::ios::binary).rdbuf();
        return text.str();
    }

    template <class Mesh>
    void read(Mesh& mesh, const std::string& text) {
        std::ofstream(path_, std::ios::binary) << text;
        output_.clear();
        meshRead(mesh, path_);
    }

    template <class Mesh>
    Mesh meshOfText(const std::string& text) {
        Mesh mesh;
        read(mesh, text);
        EXPECT_EQ(errors_, "");
        return mesh;
    }

    template <class Mesh>
    void expectRefused(const std::string& text, const std::string& line = {}) {
        SCOPED_TRACE(text);
        Mesh mesh = meshOfText<Mesh>(kTriangle);
        read(mesh, text);
        EXPECT_TRUE(errors_.starts_with("meshRead: " + path_ + ":" + line)) << errors_;
        EXPECT_EQ(write(mesh), kTriangle);
    }

    const std::string path_ = testing::TempDir() + "mesh" + std::to_string(getpid()) + ".txt";
    test::CapturedOutput output_;
    const std::string& errors_ = output_.error();
};

/// Doubles of every size, ties of the tenth digit and powers of ten among them.
std::vector<double> awkwardDoubles(int count) {
    std::mt19937_64 random(7);
    std::vector<double> values{0.0, -0.0, INFINITY, -INFINITY, NAN, -NAN};
    while (static_cast<int>(values.size()) < count) {
        const std::uint64_t bits = random();
        const int size = static_cast<int>(bits % 60);
        const double power = std::pow(10.0, size - 30);
        values.insert(values.end(),
                      {std::bit_cast<double>(bits), static_cast<double>(random() % 20000000) + 0.5,
                       std::ldexp(static_cast<double>(random() >> 40), -size),
                       std::ldexp(static_cast<double>(random()), -size - 40), power,
                       std::bit_cast<float>(static_cast<std::uint32_t>(bits)),
                       std::nextafter(power, 0)});
    }
    values.resize(count);
    return values;
}

} // namespace

TEST_F(GeomMeshText, writesCoordinatesAsPrintfDoes) {
    const std::vector<double> numbers = awkwardDoubles(300000);
    TopoMesh mesh;
    std::string expected = "100000 0\n";
    for (std::size_t n = 0; n < numbers.size(); n += 3) {
        mesh.allocVertex({numbers[n], numbers[n + 1], numbers[n + 2]});
        expected += printed("%.10g %.10g %.10g\n", numbers[n], numbers[n + 1], numbers[n + 2]);
    }
    EXPECT_TRUE(write(mesh) == expected);
}

// Catches a coordinate rounded twice and a short cut taken for numbers it is not exact for.
TEST_F(GeomMeshText, readsCoordinatesAsStrtofDoes) {
    std::vector<std::string> numbers;
    std::mt19937 random(5);
    for (const double value : awkwardDoubles(60000)) {
        const double middle = static_cast<double>(static_cast<float>(value)) * (1 + 0x1p-24);
        const int precision = static_cast<int>(random() % 25);
        numbers.insert(numbers.end(),
                       {printed("%.*g", precision, value), printed("%+.*e", precision, value),
                        printed("%.*a", precision, value), printed("%.*g", 16 + precision, middle),
                        printed("%.*g", 16, std::nextafter(middle, 0)),
                        printed("%.*f", precision, std::fmod(value, 1e6))});
    }
    numbers.insert(numbers.end(),
                   {"1e999", "-1e999", "1e-999", "1e99999999999999999999", "0e99999", "+.5", "5.",
                    "00001.5", "16777217", "9007199254740993", "18446744073709551616",
                    "1234567890123456789012", "0.00000000000000000000000000000000000000000001e44",
                    "INFINITY", "nAn", "0X.8P+3", "1E5"});
    numbers.resize(numbers.size() / 3 * 3, "1");

    std::string text = std::to_string(numbers.size() / 3) + " 0";
    for (const std::string& number : numbers)
        text += ' ' + number;
    CompactMesh mesh = meshOfText<CompactMesh>(text);
    TopoMesh topo = meshOfText<TopoMesh>(text);
    ASSERT_EQ(mesh.getNumVertices(), topo.numVertices());
    for (std::size_t n = 0; n < numbers.size(); ++n) {
        const auto [x, y, z] = topo.vertexPoint(static_cast<int>(n / 3));
        const double wide = n % 3 == 0 ? x : n % 3 == 1 ? y : z;
        const double wantedWide = std::strtod(numbers[n].c_str(), nullptr);
        const float wantedFloat = std::strtof(numbers[n].c_str(), nullptr);
        ASSERT_EQ(std::memcmp(&wide, &wantedWide, 8), 0) << numbers[n];
        ASSERT_EQ(std::memcmp(mesh.getVerticesRaw() + n, &wantedFloat, 4), 0) << numbers[n];
    }
}

TEST_F(GeomMeshText, acceptsAnyWhiteSpaceAndSigns) {
    for (const char* text :
         {"3 1 0 0 0 1 0 0 0 1 0 3 0 1 2", " \r\n3\t+1 0 0 0 1 0 0 0 1 0 3 0 1 2 ",
          "3\v1\f0 0 0\r\n1 0 0\r\n0 1 0\r\n\r\n03 -0 +1 000000000002\r\n\n"}) {
        CompactMesh mesh = meshOfText<CompactMesh>(text);
        EXPECT_EQ(write(mesh), kTriangle) << text;
    }
    // The file is read in pieces: neither white space nor a number needs to fit into one.
    const std::string blanks(300000, ' '), zeros(300000, '0'), number = "0." + zeros + "25e300001";
    CompactMesh mesh = meshOfText<CompactMesh>(blanks + zeros + "1" + blanks + "0 " + number +
                                               blanks + "1 " + number + blanks);
    EXPECT_EQ(write(mesh), "1 0\n2.5 1 2.5\n");
}

TEST_F(GeomMeshText, refusesMalformedFiles) {
    const struct {
        std::string text;
        int line;
    } cases[] = {
        {" \n \n", 3},
        {"x 1\n", 1},
        {"\n3.0 1\n", 2},
        {"0 -1\n", 1},
        {"0 18446744073709551617\n", 1},
        {"2147483647 2147483647\n0 0 0\n", 1},
        {"2 0\n0 0 0\n1 2\n", 1}, // room for five numbers only
        {"2 0\n0 0 0.5\n1 2\n", 4},
        {"1 0\n0 1-2 3 \n", 2},
        {"1 0\n\n0 1e 3\n", 3},
        {"1 0\n0 0x 3\n", 2},
        {"1 0\n0 0 nano\n", 2},
        {std::string("1 0\n0 0 0\0", 10), 2}, // a zero byte is no end of text
        {"3 1\n0 0 0\n1 0 0\n0 1 0\n2 0 1 1\n", 5},
        {"3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3\n", 5},
        {"3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 -1 2\n", 5},
        {"3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1.0 2\n", 5},
        {"3 1\n0 0 0\n1 0 0\n0 1 0\n2000000000 0 1 2\n", 5},
        {"3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n\n7\n", 7},
    };

    for (const auto& [text, line] : cases) {
        expectRefused<CompactMesh>(text, std::to_string(line) + ": ");
        expectRefused<TopoMesh>(text, std::to_string(line) + ": ");
    }
    expectRefused<CompactMesh>(kQuad, "6: ");
    const std::string whole = "3 1\n-0.5 1e1 0\n0x1p3 0 0\n0 1 0\n3 2 1 0";
    for (std::size_t length = 0; length < whole.size(); ++length)
        expectRefused<CompactMesh>(whole.substr(0, length));
}

TEST_F(GeomMeshText, replacesCompactMeshWithoutNotice) {
    CompactMesh mesh = test::grid(3, 3);
    test::HeardNotices notices(mesh);
    mesh.allocNormalArray();
    for (const std::string text : {kTriangle, "0 0\n"}) {
        read(mesh, text);
        EXPECT_EQ(write(mesh), text);
        EXPECT_TRUE(!mesh.getNormals() && notices.take().empty());
    }
}

TEST_F(GeomMeshText, addsToTopoMesh) {
    TopoMesh mesh = meshOfText<TopoMesh>(kQuad);
    read(mesh, "4 2\n0 0 0\n1 0 0\n0 1 0\n1 1 1\n3 0 1 2\n3 2 1 3\n");
    EXPECT_EQ(write(mesh), "8 3\n0 0 0\n1 0 0\n1 1 0\n0 1 0.25\n0 0 0\n1 0 0\n0 1 0\n1 1 1\n"
                           "4 3 0 1 2\n3 4 5 6\n3 6 5 7\n");
    EXPECT_EQ(mesh.edgeTwin(mesh.findEdge(5, 6)), mesh.findEdge(6, 5));
}

TEST_F(GeomMeshText, passesOverFilesThatCannotBeOpenedAndReportsFailingOnes) {
    CompactMesh mesh = test::grid(100, 100);
    TopoMesh topo;
    const std::string missing = path_ + "/missing/file";
    meshRead(mesh, missing);
    meshRead(topo, missing);
    meshWrite(mesh, missing);
    meshWrite(topo, missing);
    EXPECT_EQ(errors_, "");
    meshWrite(mesh, "/dev/full");
    meshRead(topo, testing::TempDir());
    EXPECT_EQ(errors_, "meshWrite: /dev/full could not be written\nmeshRead: " +
                           testing::TempDir() + " could not be read\n");
}

TEST_F(GeomMeshText, readsPipes) {
    CompactMesh surface = test::wavySurface(50000), mesh;
    const std::string text = write(surface);
    std::remove(path_.c_str());
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(path_) << text; });
    meshRead(mesh, path_);
    writer.join();
    std::remove(path_.c_str());
    EXPECT_TRUE(write(mesh) == text);
}
