// Marks the entry points a stand-in library exports; everything else stays hidden.
#ifndef PLATFORM_SIM_SIM_EXPORT_H
#define PLATFORM_SIM_SIM_EXPORT_H

#define SIM_EXPORT __attribute__((visibility("default")))

#endif
