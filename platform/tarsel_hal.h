// Interface of the device HAL (libtarsel_hal.so): sensor nodes registered per device.
#ifndef PLATFORM_TARSEL_HAL_H
#define PLATFORM_TARSEL_HAL_H

#include <stddef.h>
#include <stdint.h>

#define HAL_SENSOR_NODE_NAME_SIZE 20

// The HAL's own registration record: 64 bytes in host byte order.
typedef struct HalSensorNodeConfig {
    char name[HAL_SENSOR_NODE_NAME_SIZE];  // zero-terminated, at most 19 bytes of name
    uint16_t nodeType;
    uint8_t sensorType;
    uint8_t reserved[41];  // HAL fields that we do not use; kept zero
} HalSensorNodeConfig;

#ifdef __cplusplus
static_assert(sizeof(HalSensorNodeConfig) == 64, "HAL record must be 64 bytes");
static_assert(offsetof(HalSensorNodeConfig, name) == 0, "name at offset 0");
static_assert(offsetof(HalSensorNodeConfig, nodeType) == 20, "nodeType at offset 20");
static_assert(offsetof(HalSensorNodeConfig, sensorType) == 22, "sensorType at offset 22");
static_assert(offsetof(HalSensorNodeConfig, reserved) == 23, "HAL fields from offset 23");
extern "C" {
#endif

// All calls answer 0 on success.
int drvGetDevNum(uint32_t* devNum);
int halSensorNodeRegister(uint32_t devId, HalSensorNodeConfig* config, uint64_t* handle);
int halSensorNodeUnregister(uint32_t devId, uint64_t handle);
int halSensorNodeUpdateState(uint32_t devId, uint64_t handle, int32_t fault, int32_t event);

#ifdef __cplusplus
}
#endif

#endif
