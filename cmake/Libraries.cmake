# The libraries of other makers. Whoever lacks some is told once what to install for all of them, on
# Debian, Fedora and Arch.

# need(FOUND WHAT DEBIAN FEDORA ARCH): notes what is missing, with its packages, unless the variable
# FOUND is true.
macro(need found what debian fedora arch)
  if(NOT ${found})
    string(APPEND missingLibraries " ${what}")
    string(APPEND debianPackages " ${debian}")
    string(APPEND fedoraPackages " ${fedora}")
    string(APPEND archPackages " ${arch}")
  endif()
endmacro()

# need_modules(TARGET MODULES DEBIAN FEDORA ARCH): what pkg-config knows as these modules becomes the
# target PkgConfig::TARGET.
macro(need_modules target modules)
  string(REPLACE " " ";" moduleList "${modules}")
  pkg_check_modules(${target} QUIET IMPORTED_TARGET GLOBAL ${moduleList})
  need(${target}_FOUND "${modules}" ${ARGN})
endmacro()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

need_modules(icu "icu-uc" libicu-dev libicu-devel icu)
need_modules(nettle "nettle" nettle-dev nettle-devel nettle)
need_modules(isal "libisal" libisal-dev isa-l-devel isa-l)
need_modules(x264 "x264" libx264-dev x264-devel x264)
need_modules(xcb "xcb xcb-shm xcb-damage xcb-xfixes xcb-randr xcb-xinput xcb-composite xcb-render xcb-xtest \
xcb-xkb xcb-screensaver xkbcommon-x11"
             "libxcb1-dev libxcb-shm0-dev libxcb-damage0-dev libxcb-xfixes0-dev libxcb-randr0-dev \
libxcb-xinput-dev libxcb-composite0-dev libxcb-render0-dev libxcb-xtest0-dev libxcb-xkb-dev \
libxcb-screensaver0-dev libxkbcommon-x11-dev"
             "libxcb-devel libxkbcommon-x11-devel" "libxcb libxkbcommon-x11")
need_modules(xkbcommon "xkbcommon" libxkbcommon-dev libxkbcommon-devel libxkbcommon)
need_modules(wayland "wayland-client" libwayland-dev wayland-devel wayland)
find_program(waylandScanner wayland-scanner)
need(waylandScanner "wayland-scanner" libwayland-bin wayland-devel wayland)
need_modules(avformat "libavformat libavcodec libavutil" libavformat-dev libavformat-free-devel ffmpeg)
find_library(libyuv yuv)
need(libyuv "libyuv" libyuv-dev libyuv-devel libyuv)
find_path(asio asio.hpp)
need(asio "asio" libasio-dev asio-devel asio)
find_package(nlohmann_json QUIET)
need(nlohmann_json_FOUND "nlohmann_json" nlohmann-json3-dev json-devel nlohmann-json)
if(ORVEL_PREVIEW)
  need_modules(httplib "cpp-httplib" libcpp-httplib-dev cpp-httplib-devel cpp-httplib)
endif()
if(BUILD_TESTING)
  find_package(GTest QUIET)
  need(GTest_FOUND "gtest" libgtest-dev gtest-devel gtest)
  find_package(ZLIB QUIET)
  need(ZLIB_FOUND "zlib" zlib1g-dev zlib-devel zlib)
  file(GLOB fuzzerHeaders /usr/lib/llvm-*/lib/clang/*/include/fuzzer /usr/lib/clang/*/include/fuzzer)
  need(fuzzerHeaders "libFuzzer" libclang-rt-dev compiler-rt compiler-rt)
endif()

if(missingLibraries)
  message(FATAL_ERROR "Missing libraries:${missingLibraries}\nThese packages have them:\n"
                      "  Debian: apt install${debianPackages}\n"
                      "  Fedora: dnf install${fedoraPackages}\n"
                      "  Arch: pacman -S${archPackages}\n"
                      "Without the preview page (-DORVEL_PREVIEW=OFF) or the tests (-DBUILD_TESTING=OFF) fewer "
                      "are needed.")
endif()
