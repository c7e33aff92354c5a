# A thin layer over the CMake presets; nobody needs to know them to use it.
#   make demo    build, and run real sorts
#   make test    all tests: natively under sanitizers, and on the DLL under Wine
#   make bench   the performance table, as ratios against peers of the same run
#   make format  rewrite the sources by .clang-format
#   make lint    formatting, clang-tidy
jobs := $(shell nproc)

.PHONY: all demo test bench format lint native asan tsan win32 setup-build setup-test setup-bench setup-lint clean

all: native

setup-build setup-test setup-bench setup-lint: setup-%:
	@scripts/setup.sh $*

native asan tsan win32:
	@cmake --preset $@ >/dev/null
	cmake --build --preset $@ -j $(jobs)

native: setup-build
asan tsan win32: setup-test

demo: native
	@scripts/demo.sh build/native/kvern

test: asan tsan win32
	@scripts/test.sh

bench: setup-bench
	@cmake --preset native -DKVERN_BENCH=ON >/dev/null
	cmake --build --preset native -j $(jobs)
	@scripts/bench.sh

format: setup-lint
	@scripts/sources.sh | xargs clang-format -i

lint: setup-lint
	@scripts/lint.sh

clean:
	rm -rf build
