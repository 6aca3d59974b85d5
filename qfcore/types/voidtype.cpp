#include "qfcore/types/voidtype.h"

#include "qfcore/types/md5checksummodendian.h"

namespace EmbeddedTypeSystem {

void VoidType::addCheckSum(MD5CheckSumModEndian& sum) const {
  sum.addText("void");
  Type::addCheckSum(sum);
}

}  // namespace EmbeddedTypeSystem
