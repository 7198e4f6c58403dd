// Readable gtest output for Variants: "Int16 30", "String 'b.txt'".
#pragma once

#include <quorvi/variant.h>

#include <ostream>

namespace quorvi {

inline void PrintTo(const Variant& v, std::ostream* os) {
  *os << TypeName(v.type()) << " '" << v.ToText() << "'";
}

}  // namespace quorvi
