# Entry points: `make demo` runs the tour, `make test` builds and runs every test
# (a normal build and one under AddressSanitizer and UndefinedBehaviorSanitizer).
JOBS    ?= $(shell nproc 2>/dev/null || echo 2)
BUILD   ?= build
ASAN    ?= build-asan

.PHONY: all deps build build-asan test test-asan demo clean

all: build

deps:
	@Scripts/check-deps.sh

build: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
	@cmake --build $(BUILD) -j $(JOBS)

build-asan: deps
	@cmake -S . -B $(ASAN) -DCMAKE_BUILD_TYPE=Debug -DPOI_SANITIZE=ON > /dev/null
	@cmake --build $(ASAN) -j $(JOBS)

test: build build-asan
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir $(ASAN) --output-on-failure -j $(JOBS)

demo: build
	@$(BUILD)/Tools/poi/poi demo

clean:
	rm -rf $(BUILD) $(ASAN)
