# Top-level commands. Each installs the missing Debian packages of its group first (scripts/install-deps.sh),
# so every one works on a fresh Debian 12 machine (run as root, or with sudo).

BUILD       ?= build
ASAN_BUILD  ?= build-asan
WIN_BUILD   ?= build-windows
PKG_BUILD   ?= build-package
FUZZ_BUILD  ?= build-fuzz
# Seconds each fuzzing target runs in `make fuzz` (and so in `make test`); longer campaigns set more.
FUZZ_SECONDS ?= 20
WINPKG_BUILD ?= build-windows-package
DIST        ?= dist
JOBS        ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS  ?=
VENV        ?= .venv
# The system Python, whose Debian packages (NumPy, Dask, pytest) the virtual environment sees; another
# python3 may come first on PATH.
SYSTEM_PYTHON ?= /usr/bin/python3

.PHONY: all deps configure build test test-sanitize demo clean windows test-windows package windows-package python test-python fuzz

all: build

# deps-GROUP installs the packages of one group of scripts/install-deps.sh; `make deps` those of the tests.
deps: deps-test
deps-%:
	@bash scripts/install-deps.sh $*

# Tests and benchmarks are switched on explicitly: a build folder first configured by `make demo` has them off.
configure: deps-test
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DVELIN_BUILD_TESTS=ON -DVELIN_BUILD_BENCHMARKS=ON \
	  $(CMAKE_ARGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Every test: unit, integration, command line, the installed package and the Python package; then the
# Windows build under Wine and a short run of each fuzzing target, when their tools exist.
test: build
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	@$(MAKE) --no-print-directory test-python
	@if bash scripts/test-windows.sh --check; then $(MAKE) --no-print-directory test-windows; \
	else echo "velin: Windows tests skipped (x86_64-w64-mingw32-g++-posix or wine64 missing)"; fi
	@if bash tests/fuzz/run-fuzzers.sh --check; then $(MAKE) --no-print-directory fuzz; \
	else echo "velin: fuzzing skipped (clang++-14 or libFuzzer missing)"; fi

# The libFuzzer programs of tests/fuzz, built with clang under ASan and UBSan into $(FUZZ_BUILD), each run for
# FUZZ_SECONDS from seeds made from phantoms (docs/robustness.md). Fails when a target crashes.
fuzz: deps-fuzz
	@cmake -S . -B $(FUZZ_BUILD) -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
	  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELIN_FUZZ=ON -DVELIN_BUILD_TESTS=OFF -DVELIN_BUILD_BENCHMARKS=OFF \
	  -DVELIN_BUILD_PYTHON=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzz_all
	@bash tests/fuzz/run-fuzzers.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# The built-in example: a phantom volume segmented into ./velin-demo/, compared with the phantom's truth.
# Only the library and the program are built; a build folder that `make build` configured is reused as it is.
demo: deps-demo
	@test -f $(BUILD)/CMakeCache.txt || cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release \
	  -DVELIN_BUILD_TESTS=OFF -DVELIN_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build $(BUILD) -j $(JOBS) --target velin_cli
	@$(BUILD)/tools/velin demo

# velin.dll, its import library and the test programs, cross-built with mingw-w64 into $(WIN_BUILD)/bin.
# The native capi_plane_dump is built first: the Windows suite compares the DLL's planes with its output.
windows: configure
	@cmake --build $(BUILD) -j $(JOBS) --target capi_plane_dump
	@cmake -S . -B $(WIN_BUILD) -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/mingw-w64-x86_64.cmake \
	  -DCMAKE_BUILD_TYPE=Release -DVELIN_BUILD_TOOLS=OFF -DVELIN_BUILD_BENCHMARKS=OFF \
	  -DCMAKE_RUNTIME_OUTPUT_DIRECTORY=$(abspath $(WIN_BUILD))/bin \
	  -DVELIN_HOST_PLANE_DUMP=$(abspath $(BUILD))/tests/capi/capi_plane_dump >/dev/null
	@cmake --build $(WIN_BUILD) -j $(JOBS)

# The whole unit and integration suite of the Windows build, run under wine64 in a throw-away prefix.
test-windows: windows
	@JOBS=$(JOBS) bash scripts/test-windows.sh $(WIN_BUILD)

# The same suite once more under AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize: deps-test
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELIN_SANITIZE=ON -DVELIN_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

# $(DIST)/velin_<version>_amd64.deb, built for the /usr prefix with Debian's hardening flags (without debug
# information, which would only be stripped again) and checked with lintian: errors fail the target; the
# warnings kept are explained in docs/install.md.
package: deps-package
	@export DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CFLAGS_MAINT_STRIP=-g DEB_CXXFLAGS_MAINT_STRIP=-g; \
	  CFLAGS="$$(dpkg-buildflags --get CFLAGS) $$(dpkg-buildflags --get CPPFLAGS)" \
	  CXXFLAGS="$$(dpkg-buildflags --get CXXFLAGS) $$(dpkg-buildflags --get CPPFLAGS)" \
	  LDFLAGS="$$(dpkg-buildflags --get LDFLAGS)" \
	  cmake -S . -B $(PKG_BUILD) -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DVELIN_BUILD_PYTHON=OFF \
	  -DVELIN_BUILD_TESTS=OFF -DVELIN_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build $(PKG_BUILD) -j $(JOBS)
	@rm -f $(PKG_BUILD)/*.deb
	@cd $(PKG_BUILD) && cpack -G DEB >/dev/null
	@mkdir -p $(DIST) && cp $(PKG_BUILD)/*.deb $(DIST)/
	@for deb in $(PKG_BUILD)/*.deb; do echo "velin: $(DIST)/$${deb##*/}"; \
	  lintian --fail-on error $(DIST)/$${deb##*/}; done

# $(DIST)/velin-<version>-windows-x86_64.zip: velin.dll, its import library, the headers and the C entry's
# documentation, from a cross-build of the library alone.
windows-package: deps-windows
	@cmake -S . -B $(WINPKG_BUILD) -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/mingw-w64-x86_64.cmake \
	  -DCMAKE_BUILD_TYPE=Release -DVELIN_BUILD_TOOLS=OFF -DVELIN_BUILD_TESTS=OFF -DVELIN_BUILD_BENCHMARKS=OFF \
	  >/dev/null
	@cmake --build $(WINPKG_BUILD) -j $(JOBS)
	@rm -f $(WINPKG_BUILD)/*.zip
	@cd $(WINPKG_BUILD) && cpack -G ZIP >/dev/null
	@mkdir -p $(DIST) && cp $(WINPKG_BUILD)/*.zip $(DIST)/
	@for zip in $(WINPKG_BUILD)/*.zip; do echo "velin: $(DIST)/$${zip##*/}"; done

# The Python package `velin` in the virtual environment $(VENV), which also sees the system's packages;
# built with the project's CMake build and installed without any package index.
python: build
	@test -x $(VENV)/bin/python || $(SYSTEM_PYTHON) -m venv --system-site-packages $(VENV)
	@VELIN_BUILD_DIR=$(abspath $(BUILD)) JOBS=$(JOBS) $(VENV)/bin/python -m pip install --no-build-isolation \
	  --no-index --disable-pip-version-check --root-user-action=ignore --quiet ./python
	@echo "velin: Python package installed in $(VENV); use $(VENV)/bin/python"

# The Python package's tests, on the installed package; they compare with the program in $(BUILD).
test-python: python
	@VELIN_CLI=$(abspath $(BUILD))/tools/velin $(VENV)/bin/python -m pytest -q -p no:cacheprovider python/tests

clean:
	@rm -rf $(BUILD) $(ASAN_BUILD) $(WIN_BUILD) $(PKG_BUILD) $(WINPKG_BUILD) $(DIST) $(FUZZ_BUILD)
