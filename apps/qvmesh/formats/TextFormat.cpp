#include <cstddef>
#include <string>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/io/GeomMeshText.h"

#include "qvmesh/Failure.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {
namespace {

/// Hears what the library reports as an error while this lives.
class ErrorListener {
public:
    ErrorListener() {
        const auto listen = [](void* listener, bool isError, const char* text) {
            if (isError)
                static_cast<ErrorListener*>(listener)->text_ += text;
        };
        qvOS::AppOutput::getInstance().setSink(listen, this);
    }

    ErrorListener(const ErrorListener&) = delete;
    ErrorListener& operator=(const ErrorListener&) = delete;

    ~ErrorListener() { qvOS::AppOutput::getInstance().setSink(nullptr, nullptr); }

    bool heardAny() const { return !text_.empty(); }

    /// The text without the operation's name before it, which tells the user nothing.
    std::string message() const {
        const std::size_t colon = text_.find(": ");
        return colon == std::string::npos ? text_ : text_.substr(colon + 2);
    }

private:
    std::string text_;
};

} // namespace

void readText(const std::string& path, qvGeom::CompactMesh& mesh) {
    const ErrorListener errors;
    qvGeom::meshRead(mesh, path);
    if (errors.heardAny())
        throw Failure(errors.message());
}

bool writeText(const qvGeom::CompactMesh& mesh, const std::string& path) {
    const ErrorListener errors;
    qvGeom::meshWrite(mesh, path);
    return !errors.heardAny();
}

} // namespace qvmesh
