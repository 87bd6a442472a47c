// The library's version: the one place it is written. The constructor logs
// it; CMake reads it from here for the project, the packages, the CMake
// package's version file and the pkg-config file.

#ifndef ZELMAR_NATIVE_COS_UPDATE_VERSION_H
#define ZELMAR_NATIVE_COS_UPDATE_VERSION_H

namespace Zelmar {
namespace Device {
namespace COS {
namespace V1_0 {

constexpr const char kLibraryVersion[] = "1.2.2";

}  // namespace V1_0
}  // namespace COS
}  // namespace Device
}  // namespace Zelmar

#endif  // ZELMAR_NATIVE_COS_UPDATE_VERSION_H
