# Builds the bundle for Linux on 64-bit Arm with Debian's cross compiler (g++-aarch64-linux-gnu, qemu-user-static):
#   cmake -S . -B build/aarch64 -G Ninja --toolchain cmake/aarch64-linux-gnu.cmake -DQUILLON_PROGRAM=OFF -DQUILLON_TESTS=ON
#   ninja -C build/aarch64
# build/aarch64/tests/systems/render_all writes the checksum of every effect's picture. They are those of other machines:
#   qemu-aarch64-static -L /usr/aarch64-linux-gnu build/aarch64/tests/systems/render_all build/aarch64/Quillon.ofx.bundle
# It needs the archives of libtiff, libjpeg, libdeflate and zlib for Arm, too: Debian's libtiff-dev:arm64 has them.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L /usr/aarch64-linux-gnu)
