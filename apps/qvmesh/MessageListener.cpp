#include "qvmesh/MessageListener.h"

#include "qvGeom/foundation/base/Diagnostics.h"

namespace qvmesh {

MessageListener::MessageListener() {
    const auto listen = [](void* listener, bool isError, const char* text) {
        if (isError)
            static_cast<MessageListener*>(listener)->errors_ += text;
        else
            qvGeom::debugChannel().print("%s", text);
    };
    qvOS::AppOutput::getInstance().setSink(listen, this);
}

MessageListener::~MessageListener() { qvOS::AppOutput::getInstance().setSink(nullptr, nullptr); }

std::string MessageListener::errors() const {
    const std::size_t colon = errors_.find(": ");
    return colon == std::string::npos ? errors_ : errors_.substr(colon + 2);
}

} // namespace qvmesh
