/// Marks what the host library exports to the modules that it loads.
#pragma once

#define TESSEL_API __attribute__((visibility("default")))
