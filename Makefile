# The front door. Everything else is CMake presets: see CMakePresets.json.

PREFIX ?= /usr/local
FUZZ_SECONDS ?= 30
MINUTES ?= 5
RECORDING ?= examples/recordings/club-night.jsonl
JOBS ?= $(shell nproc)

.PHONY: help build run test bench soak asan tsan fuzz format lint install clean

help:
	@echo 'make run      a script plays the example recording and writes what it hears'
	@echo 'make build    programs in build/release/bin/'
	@echo 'make test     every test'
	@echo 'make bench    every figure beside its reference, as one table'
	@echo 'make soak     a long night of so many MINUTES ($(MINUTES)): everything at once, while much fails'
	@echo 'make asan, make tsan    the tests under the sanitizers'
	@echo 'make fuzz     each fuzz target for FUZZ_SECONDS ($(FUZZ_SECONDS))'
	@echo 'make format, make lint  clang-format; clang-tidy, includes, headers'
	@echo 'make install PREFIX=$(PREFIX)'

build:
	@tools/setup build
	@cmake --preset release
	@cmake --build --preset release -j $(JOBS)

run: build
	@build/release/bin/tavro run examples/follow.tvio $(RECORDING)

test: build
	@ctest --preset release

bench:
	@tools/setup bench
	@$(MAKE) --no-print-directory build
	@bench/figures build/release

soak: build
	@build/release/bin/tavro_soak --minutes $(MINUTES)

asan tsan:
	@tools/setup checks
	@cmake --preset $@
	@cmake --build --preset $@ -j $(JOBS)
	@ctest --preset $@

fuzz:
	@tools/setup checks
	@cmake --preset fuzz
	@cmake --build --preset fuzz -j $(JOBS)
	@tools/run_fuzz build/fuzz $(FUZZ_SECONDS)

format:
	@tools/setup checks
	@git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i

lint:
	@tools/setup checks
	@tools/lint

install: build
	@cmake --install build/release --prefix $(PREFIX)

clean:
	@rm -rf build
