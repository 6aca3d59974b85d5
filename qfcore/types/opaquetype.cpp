#include "qfcore/types/opaquetype.h"

#include "qfcore/types/md5checksummodendian.h"

namespace EmbeddedTypeSystem {

void OpaqueType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("opaque");
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
