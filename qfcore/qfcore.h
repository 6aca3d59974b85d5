/// Everything that a program may use: the array with its types, settings, quantizers and records, and what
/// these are made of.
#pragma once

#include "qfcore/fi/fi.h"
#include "qfcore/fi/filter.h"
#include "qfcore/fi/fireference.h"
#include "qfcore/host/exchange.h"
#include "qfcore/host/module.h"
#include "qfcore/logging/filog.h"
#include "qfcore/math/fimathUserData.h"
#include "qfcore/math/parallel.h"
#include "qfcore/number/numberops.h"
#include "qfcore/types/chartype.h"
#include "qfcore/types/complextype.h"
#include "qfcore/types/features.h"
#include "qfcore/types/fienumtype.h"
#include "qfcore/types/matrixtype.h"
#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/opaquetype.h"
#include "qfcore/types/pointertype.h"
#include "qfcore/types/structelement.h"
#include "qfcore/types/structtype.h"
#include "qfcore/types/voidtype.h"
