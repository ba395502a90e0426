"""Builds velin's extension module with the project's own CMake build and installs it with the package.

The module is the target velin_python of the top-level CMakeLists.txt, built in the project's build folder
(VELIN_BUILD_DIR, default ../build, shared with `make build`, so an unchanged tree builds nothing), together
with libvelin.so, which is installed beside it.
"""

import os
import re
import shutil
import subprocess
import sys
import sysconfig
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent.parent


def project_version() -> str:
    match = re.search(r"project\(Velin VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())
    if match is None:
        raise RuntimeError("no project version in CMakeLists.txt")
    return match.group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext: Extension) -> None:
        build_dir = Path(os.environ.get("VELIN_BUILD_DIR", ROOT / "build")).resolve()
        if not (build_dir / "CMakeCache.txt").exists():
            subprocess.run(
                ["cmake", "-S", str(ROOT), "-B", str(build_dir), "-DCMAKE_BUILD_TYPE=Release",
                 f"-DPython_EXECUTABLE={sys.executable}"],
                check=True,
            )
        jobs = os.environ.get("JOBS", str(os.cpu_count() or 2))
        subprocess.run(["cmake", "--build", str(build_dir), "-j", jobs, "--target", "velin_python"], check=True)

        built = build_dir / "python" / "velin"
        module = built / ("_velin" + sysconfig.get_config_var("EXT_SUFFIX"))
        if not module.exists():
            found = ", ".join(path.name for path in built.glob("_velin*")) or "nothing"
            raise RuntimeError(f"{build_dir} holds a module for another Python ({found}); "
                               f"build with -DPython_EXECUTABLE={sys.executable} or set VELIN_BUILD_DIR")
        target = Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(module, target)
        for library in built.glob("libvelin.so*"):
            shutil.copy2(library, target.parent / library.name)


setup(
    version=project_version(),
    ext_modules=[Extension("velin._velin", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
