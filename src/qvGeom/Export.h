/// \file
/// The mark of what the shared library exports; all else in it is hidden.
#pragma once

#define QVGEOM_API __attribute__((visibility("default")))
