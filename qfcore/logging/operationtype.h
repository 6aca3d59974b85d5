/// The kinds of operation that quantize values; the kind selects the logger that collects an object's counts.
#pragma once

namespace embedded {

enum class OperationTypeEnum { Unspecified, Assignment, Product, Sum };

}  // namespace embedded
