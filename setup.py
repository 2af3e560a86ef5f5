"""Builds the extension module qz4tessellix._core with the project's CMake
build, for the Python that runs this script, and hands it to setuptools."""
import glob
import os
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


class cmake_build_ext(build_ext):
    def build_extension(self, ext):
        build = os.path.abspath(os.path.join(self.build_temp, "cmake"))
        subprocess.check_call(
            ["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
             f"-DPython3_EXECUTABLE={sys.executable}", "-DQZ4_BUILD_PYTHON=ON",
             "-DQZ4_BUILD_TESTS=OFF", "-DQZ4_BUILD_BENCHMARKS=OFF", "-DQZ4_BUILD_EXAMPLES=OFF"])
        subprocess.check_call(["cmake", "--build", build, "--target", "_core", "--parallel", "2"])
        built = glob.glob(os.path.join(build, "python", "qz4tessellix", "_core*.so"))
        target = self.get_ext_fullpath(ext.name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(built[0], target)


setup(ext_modules=[Extension("qz4tessellix._core", sources=[])], cmdclass={"build_ext": cmake_build_ext})
