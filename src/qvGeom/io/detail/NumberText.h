/// \file
/// Writes numbers as text: what printf writes in the "C" locale, only faster.
#pragma once

namespace qvGeom::detail {

/// Room that one number may take: bytes behind its text may be overwritten too.
inline constexpr int kMaxNumberText = 40;

/// Writes `value` as "%.10g" does and returns the end of the text.
char* writeNumber(char* out, double value);

/// Writes `value` as "%d" does and returns the end of the text.
char* writeNumber(char* out, int value);

} // namespace qvGeom::detail
