"""Builds the extension module discrete._core with CMake on this repository
(target discrete_python, python/CMakeLists.txt) and ships it with
libDiscrete.so and libdiscrete_host.so beside it (docs/python.md).

The build tree is build/python (preset "python"), or the configured tree that
DISCRETE_BUILD_DIR names (the tests reuse theirs); DISCRETE_BUILD_JOBS sets
the build's parallelism (default 2).
"""

import os
import re
import shutil
import subprocess
import sys
import sysconfig

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = os.path.dirname(os.path.abspath(__file__))


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        tree = os.environ.get("DISCRETE_BUILD_DIR")
        if not tree:
            tree = os.path.join(SOURCE, "build", "python")
            subprocess.check_call(["cmake", "--preset", "python",
                                   f"-DDISCRETE_PYTHON_EXECUTABLE={sys.executable}"], cwd=SOURCE)
        jobs = os.environ.get("DISCRETE_BUILD_JOBS", "2")
        subprocess.check_call(["cmake", "--build", tree, "--target", "discrete_python", "-j", jobs])
        built = os.path.join(tree, "python", "discrete")
        core = "_core" + sysconfig.get_config_var("EXT_SUFFIX")
        if not os.path.exists(os.path.join(built, core)):
            sys.exit(f"{tree} holds no {core}: it was configured for another Python than "
                     f"{sys.executable}")
        target = os.path.dirname(os.path.abspath(self.get_ext_fullpath(ext.name)))
        os.makedirs(target, exist_ok=True)
        # The extension and the libraries under the names the build gave them
        # for the package (python/CMakeLists.txt): libDiscrete.so and the host
        # library's SONAME.
        libraries = [name for name in os.listdir(built)
                     if name == "libDiscrete.so" or re.fullmatch(r"libdiscrete_host\.so\.\d+", name)]
        for name in [core] + libraries:
            shutil.copy2(os.path.join(built, name), os.path.join(target, name))


setup(ext_modules=[Extension("discrete._core", sources=[])],
      cmdclass={"build_ext": CMakeBuild},
      options={"build": {"build_base": os.path.join("build", "setuptools")}})
