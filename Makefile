# Top-level commands. `make test` and `make demo` install missing Debian packages first, so both work on
# a fresh Debian 12 machine (run as root, or with sudo).

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS ?=

.PHONY: all deps configure build test test-unit test-sanitize demo clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

# Every test: unit, integration and command line.
test: build
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# The same suite once more under AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize: deps
	@cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELIN_SANITIZE=ON -DVELIN_BUILD_BENCHMARKS=OFF $(CMAKE_ARGS) >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	@ctest --test-dir $(ASAN_BUILD) --output-on-failure -j $(JOBS)

demo: build
	@if [ -x $(BUILD)/tools/velin ]; then \
	  $(BUILD)/tools/velin demo; \
	else \
	  echo "velin: the library is built, but the command-line demo does not exist yet (see README.md)."; \
	fi

clean:
	@rm -rf $(BUILD) $(ASAN_BUILD)
