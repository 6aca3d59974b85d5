/// Methods of `embedded.fi` about its loggers and the module's.
#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/filogObjClass.h"

namespace embedded::host {

namespace {

Arrays localFilogs(Arrays& inputs, int) { return {cellOfFilogs(fiArgument(inputs[0]).getlocalfilogs())}; }

/// A method that acts on the array's record.
template <void (HeldArray::*Action)() const>
Arrays onRecord(Arrays& inputs, int) {
  (fiArgument(inputs[0]).*Action)();
  return {};
}

/// A method that acts on the module's totals; the array only says whose method it is.
template <void (*Action)()>
Arrays onTotals(Arrays&, int) {
  Action();
  return {};
}

const Method kMethods[] = {
    {"getqloggerstruct", 1, 1, 1, askArray<&fi::saveLogsInHostStruct>,
     "getqloggerstruct(a): a structure with the logs Assignment, Sum, Product and ProductSum."},
    {"getlocalfilogs", 1, 1, 1, localFilogs,
     "getlocalfilogs(a): a cell with a filog for each logger of the array that has recorded something."},
    {"consolidatelocalfilogs", 1, 1, 0, onRecord<&fi::consolidatelocalfilogs>,
     "consolidatelocalfilogs(a): moves the array's records to the collection of filog records, which takes "
     "them while "
     "the feature FiTagLogging is on.",
     true},
    {"displaygloballog", 1, 1, 0, onTotals<&fi::displayGlobalLog>,
     "displaygloballog(a): prints the overflows and underflows of all assignments, sums and products."},
    {"resetgloballog", 1, 1, 0, onTotals<&fi::resetGlobalLog>,
     "resetgloballog(a): forgets the overflows and underflows of all assignments, sums and products."},
    {"resetlogging", 1, 1, 0, onRecord<&fi::resetLogging>, "resetlogging(a): forgets what was logged.", true},
    {"resetlog", 1, 1, 0, onRecord<&fi::resetLogging>, "resetlog(a): forgets what was logged.", true},
};

}  // namespace

std::span<const Method> logMethods() { return kMethods; }

}  // namespace embedded::host
