# Top-level commands. `make test` and `make demo` install missing Debian packages first, so both work on
# a fresh Debian 12 machine (run as root, or with sudo).

BUILD      ?= build
ASAN_BUILD ?= build-asan
WIN_BUILD  ?= build-windows
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS ?=
VENV       ?= .venv
# The system Python, whose Debian packages (NumPy, Dask, pytest) the virtual environment sees; another
# python3 may come first on PATH.
SYSTEM_PYTHON ?= /usr/bin/python3

.PHONY: all deps configure build test test-sanitize demo clean windows test-windows python test-python

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Every test: unit, integration and command line, the Python package's tests; then the Windows build under
# Wine when the tools exist.
test: build
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	@$(MAKE) --no-print-directory test-python
	@if bash scripts/test-windows.sh --check; then $(MAKE) --no-print-directory test-windows; \
	else echo "velin: Windows tests skipped (x86_64-w64-mingw32-g++-posix or wine64 missing)"; fi

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
test-sanitize: deps
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELIN_SANITIZE=ON -DVELIN_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

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

# The built-in example: a phantom volume segmented into ./velin-demo/, compared with the phantom's truth.
demo: build
	@$(BUILD)/tools/velin demo

clean:
	@rm -rf $(BUILD) $(ASAN_BUILD) $(WIN_BUILD)
