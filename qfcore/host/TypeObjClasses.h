/// Host classes of the type family besides `embedded.numerictype`: type, scalartype, complextype, enumtype,
/// pointertype, opaquetype, matrixtype, structelement, structtype, chartype, voidtype.
#pragma once

#include "qfcore/host/objclass.h"
#include "qfcore/types/type.h"

namespace embedded::host {

/// Creates the classes, each with its properties and methods; later calls do nothing. They are constructed
/// without arguments and are handles: a composed type shares its parts with the variables that hold them.
void createTypeClasses();

/// The class `embedded.scalartype`, whose subclasses describe one number or character.
const HostClass& scalarTypeClass();

/// The type that an argument wraps, sharing the object's life. Raises "embeddedtype:basetype:invalidobject" /
/// "Parameter must be a valid type object.".
EmbeddedTypeSystem::TypePtr typeArgument(const HostArray& array);

inline constexpr const char* kReadOnlyHelp = "Whether code may only read values of the type.";
inline constexpr const char* kVolatileHelp = "Whether values of the type may change by themselves.";

}  // namespace embedded::host
