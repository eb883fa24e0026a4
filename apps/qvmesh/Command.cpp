#include "qvmesh/Command.h"

#include <cstring>

namespace qvmesh {
namespace {

// Set before any constructor runs, so that commands may be constructed in any order.
constinit Command* firstCommand = nullptr;

} // namespace

Command::Command(const char* name, const char* summary, const char* examples)
    : name_(name),
      summary_(summary),
      examples_(examples) {
    Command** place = &firstCommand;
    while (*place && std::strcmp((*place)->name_, name) < 0)
        place = &(*place)->next_;
    next_ = *place;
    *place = this;
}

Command* Command::first() { return firstCommand; }

} // namespace qvmesh
