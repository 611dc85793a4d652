"""Makes the wheel: CMake builds the compiled module and the libraries that it brings along."""

import os
import subprocess
import sys
from pathlib import Path

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

ROOT = Path(__file__).resolve().parents[2]
OPTIONS = {
    "CMAKE_BUILD_TYPE": "Release",
    "VEXMORA_PYTHON": "ON",
    "VEXMORA_TESTS": "OFF",
    "VEXMORA_BENCHMARKS": "OFF",
    "VEXMORA_COMMAND": "OFF",
    "Python_EXECUTABLE": sys.executable,
}


class Compiled(Distribution):
    """Has a compiled part, whatever setuptools knows of it."""

    def has_ext_modules(self):
        return True


class Build(build_py):
    def run(self):
        super().run()
        target = Path(self.build_lib).resolve()
        folder = target.parent / "cmake"
        settings = [f"-D{name}={value}" for name, value in OPTIONS.items()]
        subprocess.run(["cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", *settings], check=True)
        subprocess.run(["cmake", "--build", folder, "--target", "vexmora_python"], check=True)
        install = ["cmake", "--install", folder, "--prefix", target, "--component", "wheel", "--strip"]
        subprocess.run(install, check=True)
        # An archive knows no links: each library has the one name that it is loaded by.
        for link in (target / "vexmora").glob("*.so.*"):
            if link.is_symlink():
                os.replace(link.resolve(), link)


setup(distclass=Compiled, cmdclass={"build_py": Build})
