# The two commands a newcomer needs are `make demo` and `make test`; both
# install what is missing first (scripts/setup), then build with the CMake
# presets in CMakePresets.json (build trees live under build/<preset>).

PREFIX ?= /usr/local
FUZZ_SECONDS ?= 600
FUZZ_SMOKE_SECONDS ?= 5

.PHONY: all setup release demo test test-release test-asan fuzz-smoke bench fuzz install clean format

all: release

setup:
	@scripts/setup

release: setup
	@cmake --preset release >/dev/null
	@cmake --build --preset release

demo: release
	@scripts/demo build/release build/demo

test-release: release
	@ctest --preset release

test-asan: setup
	@cmake --preset asan >/dev/null
	@cmake --build --preset asan
	@ctest --preset asan

fuzz-build: setup
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz

fuzz-smoke: fuzz-build
	@scripts/fuzz build/fuzz $(FUZZ_SMOKE_SECONDS)

# Every test, then the same tests under the sanitizers, then a short run of
# each fuzz target over its seed corpus.
test: test-release test-asan fuzz-smoke
	@echo "vellum: all tests passed"

bench: release
	@build/release/bench/vellum_bench --benchmark_counters_tabular=true

fuzz: fuzz-build
	@scripts/fuzz build/fuzz $(FUZZ_SECONDS)

install: release
	@cmake --install build/release --prefix $(PREFIX)

format:
	@clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	@rm -rf build
