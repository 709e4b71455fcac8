# Two trees: build/native (g++, memory machine, unit tests) and build/windows (mingw-w64,
# vistrel.dll, the host and tests under Wine). `make test` runs everything; `make run` starts
# the console host.
JOBS ?= $(shell nproc)
NATIVE := build/native
WINDOWS := build/windows
CMAKE_GEN := -G Ninja
# A compiler cache, when the machine has one, shared by every checkout of the project.
CCACHE := $(shell command -v ccache 2>/dev/null)
ifneq ($(CCACHE),)
CMAKE_GEN += -DCMAKE_CXX_COMPILER_LAUNCHER=$(CCACHE) -DCMAKE_C_COMPILER_LAUNCHER=$(CCACHE)
export CCACHE_BASEDIR ?= $(CURDIR)
export CCACHE_NOHASHDIR ?= 1
endif

.PHONY: all deps native windows test test-native test-windows run format sanitize tsan bench bench-wine fuzz clean

all: native windows

deps:
	@scripts/install-deps.sh

native: deps
	@cmake -S . -B $(NATIVE) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug >/dev/null
	@cmake --build $(NATIVE) -j $(JOBS)

windows: deps
	@cmake -S . -B $(WINDOWS) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release \
	    -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake >/dev/null
	@cmake --build $(WINDOWS) -j $(JOBS)

test-native: native
	@cd $(NATIVE) && ctest --output-on-failure 2>&1 | tee ctest.log | tail -n 25
	@grep -q "100% tests passed" $(NATIVE)/ctest.log && echo "native: all tests passed" \
	    || { echo "native: FAILED"; exit 1; }

test-windows: windows
	@scripts/with-display.sh $(CURDIR)/$(WINDOWS)/wineprefix \
	    sh -c 'cd $(WINDOWS) && ctest --output-on-failure' 2>&1 | tee $(WINDOWS)/ctest.log | tail -n 25
	@grep -q "100% tests passed" $(WINDOWS)/ctest.log && echo "windows (Wine): all tests passed" \
	    || { echo "windows (Wine): FAILED"; exit 1; }

test: test-native test-windows

run: windows
	@scripts/run-host.sh $(CURDIR)/$(WINDOWS)

sanitize: deps
	@cmake -S . -B build/asan $(CMAKE_GEN) -DVISTREL_SANITIZE=ON >/dev/null
	@cmake --build build/asan -j $(JOBS) && cd build/asan && ctest --output-on-failure

tsan: deps
	@cmake -S . -B build/tsan $(CMAKE_GEN) -DVISTREL_TSAN=ON >/dev/null
	@cmake --build build/tsan -j $(JOBS) && cd build/tsan && ctest --output-on-failure

bench: deps
	@cmake -S . -B build/bench $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build/bench -j $(JOBS) --target vistrel_bench && build/bench/bin/vistrel_bench

bench-wine: windows
	@scripts/with-display.sh $(CURDIR)/$(WINDOWS)/wineprefix \
	    wine $(CURDIR)/$(WINDOWS)/bin/vistrel_wine_bench.exe

# Each fuzz harness for FUZZ_SECONDS under libFuzzer (clang); `make test` replays their corpora.
FUZZ_SECONDS ?= 60
fuzz: deps
	@scripts/install-deps.sh fuzz
	@scripts/fuzz.sh $(FUZZ_SECONDS)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
