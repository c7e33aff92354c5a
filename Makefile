# A thin layer over the CMake presets; nobody needs to know them to use it.
#   make demo    build, and run real sorts
#   make quick   the native tests without sanitizers, fewer random sessions: some 40 seconds
#   make test    all tests: natively under sanitizers, and on the DLL under Wine
#   make check-faults    whole runs of the command in which every call to the system fails
#                once, or a signal comes (docs/testing.md); some minutes
#   make bench   the performance table, as ratios against peers of the same run
#   make packages        Debian packages and the archive for Windows, in build/packages
#   make check-packages  installs and uses them: under Wine, and in a clean Debian where
#                        that can be had (docs/packages.md)
#   make format  rewrite the sources by .clang-format
#   make lint    formatting, clang-tidy
jobs := $(shell nproc)

.PHONY: all demo quick test check-faults bench format lint native asan tsan win32 package win32-products packages check-packages clean \
        setup-build setup-test setup-faults setup-bench setup-lint setup-packages

all: native

setup-build setup-test setup-faults setup-bench setup-lint setup-packages: setup-%:
	@scripts/setup.sh $*

native asan tsan win32 package:
	@cmake --preset $@ >/dev/null
	cmake --build --preset $@ -j $(jobs)

quick: setup-test
	@cmake --preset quick >/dev/null
	cmake --build --preset quick -j $(jobs)
	@scripts/test.sh quick

native: setup-build
asan tsan win32: setup-test

package: setup-packages

win32-products: setup-packages
	@cmake --preset win32 >/dev/null
	cmake --build --preset win32 -j $(jobs) --target kvern kvern_command kvern_fmgr

packages: package win32-products
	cd build/package && cpack
	cd build/win32 && cpack

check-packages: packages
	@scripts/check-packages.sh

demo: native
	@scripts/demo.sh build/native/kvern

test: asan tsan win32
	@scripts/test.sh asan tsan win32

check-faults: setup-faults native
	cmake --build --preset native -j $(jobs) --target failcalls
	tests/faultwalk/faultwalk.py build/native/kvern build/native/libfailcalls.so
	tests/faultwalk/signalwalk.py build/native/kvern build/native/libfailcalls.so

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
