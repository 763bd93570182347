// Keeps a module in memory to the end of the process.
#ifndef KIV_BASE_PLATFORM_MODULE_PIN_H_
#define KIV_BASE_PLATFORM_MODULE_PIN_H_

namespace kiv::platform {

/// The module that holds `address` will not be unmapped any more, whoever closes it. An address
/// outside of all modules changes nothing. Any thread, also while the module is being loaded.
void PinModuleOf(const void* address);
/// The same for the module that holds the virtual functions of a polymorphic object.
void PinModuleOfClass(const void* object);

}  // namespace kiv::platform

#endif  // KIV_BASE_PLATFORM_MODULE_PIN_H_
