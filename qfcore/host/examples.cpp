// An example for every function, class and method of the module, by theme: help and the reference pages show
// them. Those of methods have the name of their class before them; methods of a superclass stand there.
#include "qfcore/host/examples.h"

#include "tessel/registries.h"

namespace embedded::host {
namespace {

using tessel::Example;

constexpr Example kFunctions[] = {
    {"fi", "fi(pi, 1, 16, 13)"},
    {"numerictype", "numerictype(1, 16, 15)"},
    {"fimath", "fimath('RoundMode', 'floor', 'OverflowMode', 'wrap')"},
    {"quantizer", "quantize(quantizer('fixed', 'floor', 'saturate', [8 4]), [0.1 100])"},
    {"fipref", "fipref('NumberDisplay', 'hex'); fi(0.5, 1, 8, 7), fipref('NumberDisplay', 'RealWorldValue');"},
    {"isfi", "isfi(fi(1))"},
    {"isnumerictype", "isnumerictype(numerictype)"},
    {"isfimath", "isfimath(fimath)"},
    {"isquantizer", "isquantizer(quantizer)"},
};

constexpr Example kQuestions[] = {
    {"fi.size", "size(fi(zeros(2, 3)))"},
    {"fi.numel", "numel(fi([1 2 3]))"},
    {"fi.ndims", "ndims(fi([1 2 3]))"},
    {"fi.length", "length(fi([1 2 3]))"},
    {"fi.isempty", "isempty(fi([]))"},
    {"fi.isscalar", "isscalar(fi(1))"},
    {"fi.isvector", "isvector(fi([1 2]))"},
    {"fi.isrow", "isrow(fi([1 2]))"},
    {"fi.iscolumn", "iscolumn(fi([1 2]))"},
    {"fi.isreal", "isreal(fi(1i))"},
    {"fi.isnumeric", "isnumeric(fi(1))"},
    {"fi.isnan", "isnan(fi([1 2]))"},
    {"fi.isinf", "isinf(fi([1 2]))"},
    {"fi.isfinite", "isfinite(fi([1 2]))"},
    {"fi.isfi", "isfi(fi(1))"},
    {"fi.isfixed", "isfixed(fi(1))"},
    {"fi.isfloat", "isfloat(fi(1, numerictype('single')))"},
    {"fi.isdouble", "isdouble(fi(1, numerictype('double')))"},
    {"fi.issingle", "issingle(fi(1, numerictype('single')))"},
    {"fi.isboolean", "isboolean(fi(1, numerictype('boolean')))"},
    {"fi.isscaleddouble", "isscaleddouble(fi(1, numerictype('DataType', 'ScaledDouble')))"},
    {"fi.isscaledtype", "isscaledtype(fi(1))"},
    {"fi.isautoscaled", "isautoscaled(fi(1))"},
    {"fi.numerictype", "qpointstr(numerictype(fi(pi)))"},
    {"fi.fimath", "F = fimath(fi(pi)); F.RoundMode"},
    {"fi.lastpropertyset", "a = fi(1); a.RoundMode = 'floor'; p = properties('fi'); p{lastpropertyset(a) + 1}"},
    {"fi.datasetbypvpair", "datasetbypvpair(fi(0, 1, 8, 4, 'data', 0.5))"},
    {"fi.GetBestPrecisionForHostArray", "qpointstr(GetBestPrecisionForHostArray(fi(0, 1, 16), [3 100]))"},
    {"fi.Is64BitPlatform", "Is64BitPlatform(fi(1))"},
};

constexpr Example kRanges[] = {
    {"fi.range", "range(fi(0, 1, 8, 4))"},
    {"fi.lowerbound", "lowerbound(fi(0, 1, 8, 4))"},
    {"fi.upperbound", "upperbound(fi(0, 1, 8, 4))"},
    {"fi.realmax", "realmax(fi(0, 1, 8, 4))"},
    {"fi.realmin", "realmin(fi(0, 1, 8, 4))"},
    {"fi.eps", "eps(fi(0, 1, 8, 4))"},
    {"fi.lsb", "lsb(fi(0, 1, 8, 4))"},
    {"fi.fieps", "fieps(fi(0, 1, 8, 4))"},
    {"fi.intmin", "intmin(fi(0, 1, 8, 4))"},
    {"fi.intmax", "intmax(fi(0, 1, 8, 4))"},
};

constexpr Example kDisplay[] = {
    {"fi.disp", "disp(fi([0.5 0.25]))"},
    {"fi.display", "display(fi(0.5), 'gain')"},
    {"fi.set", "a = fi(1.7, 1, 8, 4); set(a, 'WordLength', 6, 'RoundMode', 'floor'); a"},
    {"fi.copy", "b = copy(fi(0.5))"},
    {"fi.decimal", "c = decimal(fi(2^-40, 1, 64, 60)); c{1}"},
};

constexpr Example kValues[] = {
    {"fi.double", "double(fi(pi))"},
    {"fi.single", "class(single(fi(pi)))"},
    {"fi.logical", "logical(fi([0.5 0]))"},
    {"fi.data", "data(fi(0.5))"},
    {"fi.int", "int(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.intarray", "intarray(fi(2^40, 1, 48, 0))"},
    {"fi.corvanearray", "corvanearray(fi(-1, 1, 48, 0))"},
    {"fi.int8", "int8(fi([2.5 300]))"},
    {"fi.int16", "int16(fi([2.5 300]))"},
    {"fi.int32", "int32(fi([2.5 300]))"},
    {"fi.int64", "int64(fi([2.5 300]))"},
    {"fi.uint8", "uint8(fi([2.5 300 -1]))"},
    {"fi.uint16", "uint16(fi([2.5 300 -1]))"},
    {"fi.uint32", "uint32(fi([2.5 300 -1]))"},
    {"fi.uint64", "uint64(fi([2.5 300 -1]))"},
    {"fi.stripscaling", "stripscaling(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.reinterpretcast", "reinterpretcast(fi(-1, 1, 8, 4), numerictype(0, 8, 0))"},
    {"fi.cast", "cast(fi(pi, 1, 16, 13), numerictype(1, 8, 5))"},
};

constexpr Example kText[] = {
    {"fi.bin", "bin(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.oct", "oct(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.dec", "dec(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.hex", "hex(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.sdec", "sdec(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.num2sdec", "num2sdec(fi([0.5 -0.25], 1, 8, 4))"},
    {"fi.num2base", "num2base(fi(0.5, 1, 8, 4), 3)"},
    {"fi.base2num", "a = fi(0, 1, 8, 4); base2num(a, 'e8', 16); a"},
};

constexpr Example kIndexing[] = {
    {"fi.subsref", "subsref(fi([1 2 3]), struct('type', '()', 'subs', {{2}}))"},
    {"fi.subsasgn", "subsasgn(fi([1 2 3], 1, 8, 4), struct('type', '()', 'subs', {{2}}), 0.5)"},
    {"fi.end", "a = fi([1 2 3]); a(end)"},
    {"fi.subscriptedreference", "subscriptedreference(fi([1 2 3]), [3 1])"},
    {"fi.subscriptedgrowassignment", "a = fi([1 2]); subscriptedgrowassignment(a, [1 2 0 -1], fi(0.5)); a"},
    {"fi.copydata", "a = fi(0, 1, 8, 4); copydata(a, fi([0.5 0.26])); a"},
    {"fi.find", "find(fi([0 0.5 0 1]))"},
    {"fi.nnz", "nnz(fi([0 0.5 0 1]))"},
    {"fi.any", "any(fi([0 0.5]))"},
    {"fi.all", "all(fi([0 0.5]))"},
    {"fi.not", "~fi([0 0.5])"},
    {"fi.and", "fi([0 0.5]) & 1"},
    {"fi.or", "fi([0 0.5]) | 0"},
};

constexpr Example kShape[] = {
    {"fi.horzcat", "[fi(0.5, 1, 8, 4) 0.26]"},
    {"fi.vertcat", "[fi(0.5, 1, 8, 4); 0.26]"},
    {"fi.cat", "cat(2, fi(0.5, 1, 8, 4), 1)"},
    {"fi.repmat", "repmat(fi([1 2]), 2, 1)"},
    {"fi.reshape", "reshape(fi(1:4), 2, 2)"},
    {"fi.permute", "permute(fi([1 2 3]), [2 1])"},
    {"fi.ipermute", "ipermute(fi([1 2 3]), [2 1])"},
    {"fi.kron", "kron(fi([1 0.5], 1, 8, 4), [1; -1])"},
    {"fi.num2cell", "c = num2cell(fi([1 2], 1, 8, 4)); c{2}"},
    {"fi.squeeze", "size(squeeze(fi(zeros(1, 1, 3))))"},
    {"fi.flip", "flip(fi([1 2 3]))"},
    {"fi.fliplr", "fliplr(fi([1 2 3]))"},
    {"fi.flipud", "flipud(fi([1; 2]))"},
    {"fi.rot90", "rot90(fi([1 2]))"},
    {"fi.circshift", "circshift(fi([1 2 3]), 1)"},
    {"fi.transpose", "fi([1 2]).'"},
    {"fi.ctranspose", "fi([1 2i])'"},
    {"fi.diag", "diag(fi([1 2]))"},
    {"fi.tril", "tril(fi([1 2; 3 4]))"},
    {"fi.triu", "triu(fi([1 2; 3 4]))"},
    {"fi.toeplitz", "toeplitz(fi([1 2 3]))"},
    {"fi.hankel", "hankel(fi([1 2 3]))"},
    {"fi.real", "real(fi(0.5 - 1i))"},
    {"fi.imag", "imag(fi(0.5 - 1i))"},
    {"fi.complex", "complex(fi(0.5), fi(-1))"},
    {"fi.binaryop_complex", "binaryop_complex(fi(0.5), fi(-1))"},
    {"fi.sort", "[s, places] = sort(fi([3 1 2]), 'descend')"},
    {"fi.basesort", "basesort(fi([3 1 2]))"},
    {"fi.stridesort", "stridesort(fi([4 3 2 1]), true, 2, 2)"},
    {"fi.stridesort2", "stridesort2(fi([4 3 2 1]), true, 1, 4)"},
    {"fi.unique", "unique(fi([3 1 3]))"},
    {"fi.colon", "fi(1):fi(3)"},
    {"fi.linspace", "linspace(fi(0), fi(1), fi(3))"},
    {"fi.zeros", "zeros(1, fi(3))"},
    {"fi.ones", "ones(1, fi(3))"},
    {"fi.eye", "eye(fi(2))"},
    {"fi.rand", "size(rand(1, fi(3)))"},
    {"fi.randn", "size(randn(1, fi(3)))"},
    {"fi.cell", "size(cell(1, fi(3)))"},
};

constexpr Example kArithmetic[] = {
    {"fi.plus", "fi(0.75, 1, 8, 4) + fi(0.5, 1, 8, 4)"},
    {"fi.minus", "fi(0.75, 1, 8, 4) - fi(0.5, 1, 8, 4)"},
    {"fi.times", "fi([1 2], 1, 8, 4) .* fi(0.5, 1, 8, 4)"},
    {"fi.mtimes", "fi([1 2], 1, 8, 4) * fi([3; 4], 1, 8, 4)"},
    {"fi.rdivide", "fi(1, 1, 16, 12) ./ fi(3, 1, 8, 4)"},
    {"fi.ldivide", "fi(3, 1, 8, 4) .\\ fi(1, 1, 16, 12)"},
    {"fi.mrdivide", "fi([1 2], 1, 8, 4) / 4"},
    {"fi.uminus", "-fi([-8 1], 1, 8, 4)"},
    {"fi.uplus", "+fi(0.5)"},
    {"fi.conj", "conj(fi(1 + 0.5i))"},
    {"fi.sign", "sign(fi([-0.5 0 2]))"},
    {"fi.abs", "abs(fi([-0.5 3+4i], 1, 16, 8))"},
    {"fi.realabs", "realabs(fi(-0.5), numerictype(0, 8, 4))"},
    {"fi.sqrt", "sqrt(fi(2, 1, 16, 8), numerictype(0, 16, 14))"},
    {"fi.sum", "sum(fi([1 2; 3 4], 1, 8, 4))"},
    {"fi.leadingdimension_sum", "leadingdimension_sum(fi([1 2; 3 4], 1, 8, 4))"},
    {"fi.prod", "prod(fi([0.5 0.5 3], 1, 8, 4))"},
    {"fi.power", "fi([0.5 3], 1, 8, 4) .^ 2"},
    {"fi.mpower", "fi([1 1; 0 1], 1, 8, 4) ^ 2"},
    {"fi.diff", "x = fi([1 4 9], 1, 8, 2); diff(x), diff(x, 2)"},
    {"fi.norm", "norm(fi([3 4], 1, 8, 2))"},
    {"fi.mod", "mod(fi(-3.5, 1, 8, 2), 2)"},
    {"fi.rem", "rem(fi(-3.5, 1, 8, 2), 2)"},
    {"fi.GetNumericTypeForPlus", "qpointstr(GetNumericTypeForPlus(fi(0, 1, 8, 4), fi(0, 1, 16, 15)))"},
};

constexpr Example kRounding[] = {
    {"fi.floor", "floor(fi([1.5 -1.5]))"},
    {"fi.ceil", "ceil(fi([1.5 -1.5]))"},
    {"fi.fix", "fix(fi([1.5 -1.5]))"},
    {"fi.round", "round(fi([0.5 1.5 -0.5]))"},
    {"fi.nearest", "nearest(fi([0.5 1.5 -0.5]))"},
    {"fi.convergent", "convergent(fi([0.5 1.5 -0.5]))"},
};

constexpr Example kFilters[] = {
    {"fi.filter", "filter(fi(0.5), fi([1 -0.5]), fi([1 0 0], 1, 16, 12))"},
    {"fi.sosfilt", "sosfilt(fi([0.5 0 0 1 -0.5 0]), fi([1 0 0], 1, 16, 12))"},
    {"fi.conv", "conv(fi([1 2], 1, 8, 4), fi([1 1], 1, 8, 4))"},
    {"fi.dot", "dot(fi([1 2], 1, 8, 4), fi([3 4], 1, 8, 4))"},
    {"fi.cumsum", "cumsum(fi([1 2 3], 1, 8, 4))"},
    {"fi.mean", "mean(fi([1 2 4], 1, 8, 4))"},
};

constexpr Example kComparison[] = {
    {"fi.eq", "fi([0.5 0.1], 1, 8, 4) == [0.5 0.1]"},
    {"fi.ne", "fi([0.5 0.1], 1, 8, 4) ~= [0.5 0.1]"},
    {"fi.lt", "fi([0.5 0.1], 1, 8, 4) < 0.125"},
    {"fi.le", "fi([0.5 0.1], 1, 8, 4) <= 0.125"},
    {"fi.gt", "fi([0.5 0.1], 1, 8, 4) > 0.125"},
    {"fi.ge", "fi([0.5 0.1], 1, 8, 4) >= 0.125"},
    {"fi.isequal", "isequal(fi(0.5, 1, 8, 4), fi(0.5, 1, 16, 15), 0.5)"},
    {"fi.binaryop_isequal", "binaryop_isequal(fi(0.5, 1, 8, 4), 0.5)"},
    {"fi.min", "[m, place] = min(fi([3 1 2]))"},
    {"fi.max", "max(fi([3 1 2]), 2)"},
    {"fi.binary_min", "binary_min(fi([3 1 2]), 2)"},
    {"fi.binary_max", "binary_max(fi([3 1 2]), 2)"},
    {"fi.unary_min", "unary_min(fi([3 1 2]))"},
    {"fi.unary_max", "unary_max(fi([3 1 2]))"},
};

constexpr Example kBits[] = {
    {"fi.bitand", "bin(bitand(fi(12, 0, 8, 0), fi(10, 0, 8, 0)))"},
    {"fi.bitor", "bin(bitor(fi(12, 0, 8, 0), fi(10, 0, 8, 0)))"},
    {"fi.bitxor", "bin(bitxor(fi(12, 0, 8, 0), fi(10, 0, 8, 0)))"},
    {"fi.bitcmp", "bin(bitcmp(fi(12, 0, 8, 0)))"},
    {"fi.bitset", "bin(bitset(fi(12, 0, 8, 0), 1))"},
    {"fi.bitget", "bitget(fi(12, 0, 8, 0), 3)"},
    {"fi.bitshift", "bitshift(fi(0.75, 1, 8, 4), [1 -3])"},
    {"fi.pow2", "pow2(fi(0.75, 1, 8, 4), 2)"},
    {"fi.leadingsigns", "leadingsigns(fi([0.75 -0.0625], 1, 8, 4))"},
    {"fi.normalize", "[b, k] = normalize(fi(0.75, 1, 8, 4))"},
};

constexpr Example kLogs[] = {
    {"fi.noverflows",
     "fipref('LoggingMode', 'On'); noverflows(fi([100 1], 1, 8, 4)), fipref('LoggingMode', 'Off');"},
    {"fi.nunderflows",
     "fipref('LoggingMode', 'On'); nunderflows(fi([0.01 1], 1, 8, 4)), fipref('LoggingMode', 'Off');"},
    {"fi.maxlog", "fipref('LoggingMode', 'On'); maxlog(fi([0.5 3], 1, 8, 4)), fipref('LoggingMode', 'Off');"},
    {"fi.minlog", "fipref('LoggingMode', 'On'); minlog(fi([0.5 3], 1, 8, 4)), fipref('LoggingMode', 'Off');"},
    {"fi.noperations",
     "fipref('LoggingMode', 'On'); noperations(fi([0.5 3], 1, 8, 4)), fipref('LoggingMode', 'Off');"},
    {"fi.nmathoperations",
     "fipref('LoggingMode', 'On'); a = fi([1 2]); nmathoperations(a + a), fipref('LoggingMode', 'Off');"},
    {"fi.resetlog",
     "fipref('LoggingMode', 'On'); a = fi(100, 1, 8, 4); resetlog(a); a.noverflows, fipref('LoggingMode', "
     "'Off');"},
    {"fi.resetlogging",
     "fipref('LoggingMode', 'On'); a = fi(100, 1, 8, 4); resetlogging(a); a.noverflows, fipref('LoggingMode', "
     "'Off');"},
    {"fi.getqloggerstruct",
     "fipref('LoggingMode', 'On'); s = getqloggerstruct(fi(100, 1, 8, 4)); s.Assignment, fipref('LoggingMode', "
     "'Off');"},
    {"fi.resetgloballog", "fipref('LoggingMode', 'On'); resetgloballog(fi(1)); fipref('LoggingMode', 'Off');"},
    {"fi.displaygloballog",
     "fipref('LoggingMode', 'On'); resetgloballog(fi(1)); a = fi(100, 1, 8, 4); displaygloballog(a), "
     "fipref('LoggingMode', "
     "'Off');"},
    {"fi.getlocalfilogs",
     "fipref('LoggingMode', 'On'); r = getlocalfilogs(fi(100, 1, 8, 4)); disp(r{1}), fipref('LoggingMode', "
     "'Off');"},
    {"fi.consolidatelocalfilogs",
     "fipref('LoggingMode', 'On'); consolidatelocalfilogs(fi(100, 1, 8, 4)); fipref('LoggingMode', 'Off');"},
    {"fi.getglobalfilogs", "class(getglobalfilogs(fi(1)))"},
    {"fi.clearglobalfilogs", "clearglobalfilogs(fi(1)); numel(getglobalfilogs(fi(1)))"},
};

constexpr Example kFiles[] = {
    {"fi.writememh", "writememh(fi([0.5 -0.25], 1, 12, 11), 'x.memh'); fileread('x.memh')"},
    {"fi.writebits", "writebits(fi([0.5 -0.25], 1, 12, 11), 'x.bits'); fileread('x.bits')"},
    {"fi.writeheader", "writeheader(fi([0.5 -0.25], 1, 12, 11), 'x.h', 'gains'); fileread('x.h')"},
    {"numerictype.readmemh",
     "writememh(fi([0.5 -0.25], 1, 12, 11), 'x.memh'); readmemh(numerictype(1, 12, 11), 'x.memh')'"},
    {"numerictype.readbits",
     "writebits(fi([0.5 -0.25], 1, 12, 11), 'x.bits'); readbits(numerictype(1, 12, 11), 'x.bits')'"},
};

constexpr Example kNumericTypes[] = {
    {"numerictype.disp", "disp(numerictype(0, 8, 4))"},
    {"numerictype.qpointstr", "qpointstr(numerictype(0, 8, 4))"},
    {"numerictype.tostring", "tostring(numerictype(0, 8, 4))"},
    {"numerictype.copy", "T = numerictype(0, 8, 4); U = copy(T); U.WordLength = 16; T.WordLength"},
    {"numerictype.isequivalent", "isequivalent(numerictype(1, 8, 4), numerictype(1, 8, 2^-4, 0))"},
    {"numerictype.SetBestFractionLength",
     "T = numerictype(1, 16); SetBestFractionLength(T, 100); qpointstr(T)"},
    {"numerictype.cast", "cast(pi, numerictype(1, 16, 13))"},
    {"numerictype.divide", "divide(numerictype(1, 16, 14), fi(1), fi(3))"},
    {"numerictype.sqrt", "sqrt(numerictype(0, 16, 14), fi(2))"},
    {"numerictype.isnumerictype", "isnumerictype(numerictype)"},
    {"numerictype.isfixed", "isfixed(numerictype)"},
    {"numerictype.isfloat", "isfloat(numerictype('single'))"},
    {"numerictype.isdouble", "isdouble(numerictype('double'))"},
    {"numerictype.issingle", "issingle(numerictype('single'))"},
    {"numerictype.isboolean", "isboolean(numerictype('boolean'))"},
    {"numerictype.isscaleddouble", "isscaleddouble(numerictype('DataType', 'ScaledDouble'))"},
    {"numerictype.isscaledtype", "isscaledtype(numerictype)"},
    {"numerictype.isbinarypointscalingset", "isbinarypointscalingset(numerictype(1, 16))"},
    {"numerictype.isslopebiasscalingset", "isslopebiasscalingset(numerictype(0, 8, 0.1, 0))"},
    {"numerictype.isslopebiasscaled", "isslopebiasscaled(numerictype(0, 8, 0.25, 0))"},
    {"numerictype.dialogschema", "isstruct(dialogschema(numerictype))"},
    {"numerictype.transpose", "try, numerictype.'; catch err, disp(err.message), end"},
    {"numerictype.ctranspose", "try, numerictype'; catch err, disp(err.message), end"},
};

constexpr Example kSettings[] = {
    {"fimath.disp", "disp(fimath)"},
    {"fimath.set", "F = fimath; set(F, 'RoundMode', 'fix', 'SumMode', 'KeepLSB'); tostring(F)"},
    {"fimath.tostring", "tostring(fimath('OverflowMode', 'wrap'))"},
    {"fimath.copy", "F = fimath; G = copy(F); G.RoundMode = 'fix'; F.RoundMode"},
    {"fimath.isequal", "isequal(fimath, fimath('RoundMode', 'fix'))"},
    {"fimath.eq", "fimath == fimath"},
    {"fimath.ne", "fimath ~= fimath('RoundMode', 'fix')"},
    {"fimath.isfimath", "isfimath(fimath)"},
    {"fimath.add",
     "add(fimath('SumMode', 'KeepMSB', 'SumWordLength', 8), fi(0.75, 1, 8, 4), fi(0.5, 1, 8, 4))"},
    {"fimath.sub",
     "sub(fimath('SumMode', 'KeepMSB', 'SumWordLength', 8), fi(0.75, 1, 8, 4), fi(0.5, 1, 8, 4))"},
    {"fimath.mpy",
     "mpy(fimath('ProductMode', 'KeepMSB', 'ProductWordLength', 8), fi(0.75, 1, 8, 4), fi(0.5, 1, 8, 4))"},
    {"fimath.sqrt", "sqrt(fimath('RoundMode', 'floor'), fi(2, 1, 16, 8))"},
    {"fimath.SetDefaultFimath",
     "SetDefaultFimath(fimath('RoundMode', 'fix')); a = fi(1); a.RoundMode, ResetDefaultFimath(fimath);"},
    {"fimath.ResetDefaultFimath", "ResetDefaultFimath(fimath); F = fimath; F.RoundMode"},
    {"fimath.AddToFimathDictionary",
     "AddToFimathDictionary(fimath('RoundMode', 'fix'), 'dsp'); F = GetFromFimathDictionary(fimath, 'dsp'); "
     "F.RoundMode"},
    {"fimath.GetFromFimathDictionary",
     "try, GetFromFimathDictionary(fimath, 'none'); catch err, disp(err.message), end"},
    {"fimath.FimathDictionaryTagExists", "FimathDictionaryTagExists(fimath, 'none')"},
    {"fimath.dialogschema", "isstruct(dialogschema(fimath))"},
    {"fimath.transpose", "try, fimath.'; catch err, disp(err.message), end"},
    {"fimath.ctranspose", "try, fimath'; catch err, disp(err.message), end"},
    {"embedded.reffimath", "F = embedded.reffimath; F.RoundMode"},
    {"reffimath.getDlgUserData", "getDlgUserData(embedded.reffimath)"},
    {"reffimath.setDlgUserData", "F = embedded.reffimath; setDlgUserData(F, [1 2]); getDlgUserData(F)"},
};

constexpr Example kQuantizers[] = {
    {"quantizer.quantize", "quantize(quantizer('float', 'nearest', [16 5]), 0.1)"},
    {"quantizer.quantizenumeric", "quantizenumeric(quantizer([8 4]), [0.1 100])"},
    {"quantizer.disp", "disp(quantizer([8 4]))"},
    {"quantizer.set", "q = quantizer; set(q, 'mode', 'ufixed', 'format', [8 4]); q.max"},
    {"quantizer.copy", "p = copy(quantizer([8 4])); p.eps"},
    {"quantizer.tostring", "tostring(quantizer([8 4]))"},
    {"quantizer.isquantizer", "isquantizer(quantizer)"},
    {"quantizer.isequal", "isequal(quantizer, quantizer([16 15]))"},
    {"quantizer.eq", "quantizer == quantizer([8 4])"},
    {"quantizer.ne", "quantizer ~= quantizer([8 4])"},
    {"quantizer.reset", "q = quantizer([8 4]); quantize(q, 100); reset(q); q.noverflows"},
    {"quantizer.resetlog", "q = quantizer([8 4]); quantize(q, 100); resetlog(q); q.noverflows"},
    {"quantizer.resetlogging", "q = quantizer([8 4]); quantize(q, 100); resetlogging(q); q.noverflows"},
    {"quantizer.num2base", "num2base(quantizer([8 4]), [0.5 -1], 16)"},
    {"quantizer.num2sdec", "num2sdec(quantizer([8 4]), [0.5 -1])"},
    {"quantizer.base2num", "base2num(quantizer([8 4]), 'f8', 16)"},
};

constexpr Example kRecords[] = {
    {"embedded.qlogger", "L = embedded.qlogger; isreset(L)"},
    {"qlogger.disp",
     "fipref('LoggingMode', 'On'); L = embedded.qlogger; disp(L), fipref('LoggingMode', 'Off');"},
    {"qlogger.reset", "L = embedded.qlogger; reset(L); L.noverflows"},
    {"qlogger.isreset", "isreset(embedded.qlogger)"},
    {"qlogger.struct", "fieldnames(struct(embedded.qlogger))'"},
    {"qlogger.key", "ischar(key(embedded.qlogger))"},
    {"qlogger.copy", "L = copy(embedded.qlogger); L.noperations"},
    {"embedded.filog", "R = embedded.filog; R.noverflows"},
    {"filog.disp",
     "fipref('LoggingMode', 'On'); r = getlocalfilogs(fi(100, 1, 8, 4)); disp(r{1}), fipref('LoggingMode', "
     "'Off');"},
    {"filog.copy", "R = copy(embedded.filog); R.noverflows"},
    {"filog.getglobalfilogs", "class(getglobalfilogs(embedded.filog))"},
    {"filog.clearglobalfilogs", "clearglobalfilogs(embedded.filog)"},
};

constexpr Example kTypes[] = {
    {"embedded.type", "isa(numerictype, 'embedded.type')"},
    {"embedded.scalartype", "isa(numerictype, 'embedded.scalartype')"},
    {"embedded.chartype", "isscalar(embedded.chartype)"},
    {"embedded.voidtype", "isvoid(embedded.voidtype)"},
    {"embedded.opaquetype", "isopaque(embedded.opaquetype)"},
    {"embedded.complextype", "C = embedded.complextype; C.BaseType = numerictype(1, 8, 4); getwidth(C)"},
    {"embedded.enumtype", "E = embedded.enumtype; E.Strings = {'off', 'on'}; E.Values = [0 1]; iscomplete(E)"},
    {"embedded.matrixtype",
     "M = embedded.matrixtype; M.BaseType = numerictype(1, 8, 4); M.Dimensions = [2 3]; getwidth(M)"},
    {"embedded.pointertype", "P = embedded.pointertype; P.BaseType = numerictype(1, 8, 4); ispointer(P)"},
    {"embedded.structelement",
     "e = embedded.structelement; e.Identifier = 'gain'; e.Type = numerictype(1, 8, 4); e.Identifier"},
    {"embedded.structtype",
     "e = embedded.structelement; e.Identifier = 'gain'; e.Type = numerictype(1, 8, 4); S = "
     "embedded.structtype; "
     "S.Elements = e; getwidth(S)"},
    {"type.disp", "disp(embedded.chartype)"},
    {"type.isequal", "isequal(numerictype(1, 8, 4), numerictype(1, 8, 4))"},
    {"type.eq", "numerictype(1, 8, 4) == numerictype(1, 8, 4)"},
    {"type.ne", "numerictype(1, 8, 4) ~= numerictype(1, 8, 5)"},
    {"type.compare", "compare(numerictype(1, 8, 4), numerictype(1, 8, 4))"},
    {"type.hash", "hash(numerictype(1, 8, 4)) == hash(numerictype(1, 8, 4))"},
    {"type.checksum", "checksum(numerictype(1, 8, 4))"},
    {"type.copy", "T = copy(embedded.chartype); T.ReadOnly"},
    {"type.iscomplete", "iscomplete(embedded.complextype)"},
    {"type.getwidth", "getwidth(numerictype)"},
    {"type.canbeconvertedto", "canbeconvertedto(numerictype(1, 8, 4), numerictype('double'))"},
    {"type.isscalar", "isscalar(numerictype)"},
    {"type.iscomplex", "iscomplex(embedded.complextype)"},
    {"type.isstructure", "isstructure(embedded.structtype)"},
    {"type.ismatrix", "ismatrix(embedded.matrixtype)"},
    {"type.isvoid", "isvoid(embedded.voidtype)"},
    {"type.ispointer", "ispointer(embedded.pointertype)"},
    {"type.isopaque", "isopaque(embedded.opaquetype)"},
};

constexpr tessel::Theme kThemes[] = {
    {"Fixed point", kFunctions},
    {"Sizes and kinds", kQuestions},
    {"Range and step", kRanges},
    {"Display and settings", kDisplay},
    {"Values and other types", kValues},
    {"Text", kText},
    {"Subscripts", kIndexing},
    {"Shape and order", kShape},
    {"Arithmetic", kArithmetic},
    {"Rounding to integers", kRounding},
    {"Filters and running sums", kFilters},
    {"Comparison", kComparison},
    {"Bits", kBits},
    {"Logs", kLogs},
    {"Files", kFiles},
    {"Numeric types", kNumericTypes},
    {"Math settings", kSettings},
    {"Quantizers", kQuantizers},
    {"Records", kRecords},
    {"Types of generated code", kTypes},
};

}  // namespace

void registerExamples() { tessel::registerThemes(kThemes); }

}  // namespace embedded::host
