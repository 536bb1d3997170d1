"""Quarn as a Conan 2 package: conan create packaging/conan

It packages the tree that it lies in. OpenGL, EGL, X11, Wayland and glm are the system's, as the library takes them from
there at run time too; tools.system.package_manager:mode=install has Conan install their headers.

Written from Conan's documentation and not run yet: there was no Conan where this was made."""
import os
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load
from conan.tools.system import package_manager

required_conan_version = ">=2.0"


class QuarnConan(ConanFile):
    name = "quarn"
    description = "Media-core library: GPU compositing, raw frames, audio mixing"
    license = "MIT"
    topics = ("compositing", "video", "audio", "opengl")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "wayland": [True, False]}
    default_options = {"shared": True, "wayland": True}

    @property
    def _root(self):
        return os.path.join(self.recipe_folder, "..", "..")

    def set_version(self):
        header = load(self, os.path.join(self._root, "include", "quarn", "version.h"))
        self.version = ".".join(re.findall(r"#define QUARN_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", header))

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "LICENSE", "audio/*", "cmake/*", "foundation/*", "graphics/*", "include/*",
                        "packaging/debian/*"):
            copy(self, pattern, self._root, self.export_sources_folder)

    def validate(self):
        check_min_cppstd(self, 17)
        if self.settings.os != "Linux":
            raise ConanInvalidConfiguration("Quarn is for Linux")

    def layout(self):
        cmake_layout(self)

    def system_requirements(self):
        wayland = bool(self.options.wayland)
        package_manager.Apt(self).install(
            ["libegl-dev", "libopengl-dev", "libglm-dev", "libxcb1-dev", "libxcb-shape0-dev", "pkg-config"] +
            (["libwayland-dev", "wayland-protocols"] if wayland else []))
        package_manager.Dnf(self).install(
            ["libglvnd-devel", "glm-devel", "libxcb-devel", "pkgconf-pkg-config"] +
            (["wayland-devel", "wayland-protocols-devel"] if wayland else []))

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["QUARN_BUILD_TESTS"] = False
        toolchain.cache_variables["QUARN_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["QUARN_WAYLAND"] = bool(self.options.wayland)
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # Hosts find the package that Quarn installs itself, with all that a static library needs.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "quarn")]
        self.cpp_info.libs = ["quarn"]
        if not self.options.shared:
            self.cpp_info.system_libs = ["EGL", "OpenGL", "xcb", "xcb-shape", "pthread", "dl"]
            if self.options.wayland:
                self.cpp_info.system_libs += ["wayland-client", "wayland-egl"]
