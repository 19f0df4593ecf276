# Builds for 64-bit Arm with the distribution's cross compiler and Arm libraries.
# Programs that the build runs, such as protoc, are for this machine.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(PKG_CONFIG_EXECUTABLE aarch64-linux-gnu-pkg-config)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
