# Entry points: `make demo` runs the tour, `make test` builds and runs every test
# (a normal build and one under AddressSanitizer and UndefinedBehaviorSanitizer).
JOBS    ?= $(shell nproc 2>/dev/null || echo 2)
BUILD   ?= build
ASAN    ?= build-asan

FUZZ    ?= build-fuzz
RELEASE ?= build-release
FUZZ_SECONDS ?= 10
# Generated benchmark data sets, made once (Scripts/bench-data.sh).
BENCH_DATA ?= $(HOME)/.cache/poi-bench

.PHONY: all deps build build-asan test demo fuzz bench clean install deb

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
	@Scripts/check-layers.sh
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir $(ASAN) --output-on-failure -j $(JOBS)

# Builds only the command (quietly; compiler errors still show) and runs the tour.
demo: deps
	@echo "Building poi in $(BUILD) ..."
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
	@cmake --build $(BUILD) -j $(JOBS) --target poi > /dev/null
	@$(BUILD)/Tools/poi/poi demo

# Every libFuzzer target in Fuzz/ for FUZZ_SECONDS each (clang).
fuzz:
	@Scripts/check-deps.sh clang libclang-rt-14-dev
	@CC=clang CXX=clang++ cmake -S . -B $(FUZZ) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPOI_FUZZ=ON -DPOI_TESTS=OFF > /dev/null
	@cmake --build $(FUZZ) -j $(JOBS)
	@Scripts/run-fuzz.sh $(FUZZ) $(FUZZ_SECONDS)

# Every benchmark in Bench/, built with optimisation, on 1,000,000 generated
# POIs; then RecallBench counts how often a search finds the POI its query was
# cut from, and PeerBench sets the engine beside SQLite, both on 100,000 and
# 1,000,000 (PeerBench's SQLite database is built once next to each data set).
bench:
	@Scripts/check-deps.sh libbenchmark-dev libsqlite3-dev time
	@cmake -S . -B $(RELEASE) -DCMAKE_BUILD_TYPE=Release -DPOI_BENCH=ON -DPOI_TESTS=OFF > /dev/null
	@cmake --build $(RELEASE) -j $(JOBS)
	@Scripts/bench-data.sh $(RELEASE)/Tools/poi/poi $(BENCH_DATA) 100000 1000000
	@for b in $(RELEASE)/Bench/*; do [ -f "$$b" ] && [ -x "$$b" ] && [ "$${b##*/}" != PeerBench ] && [ "$${b##*/}" != RecallBench ] && { echo "== $$b"; POI_BENCH_DATA=$(BENCH_DATA)/1000000/out "$$b" || exit 1; }; done; true
	@echo "== $(RELEASE)/Bench/RecallBench"
	@$(RELEASE)/Bench/RecallBench $(BENCH_DATA)/100000/out $(BENCH_DATA)/1000000/out
	@echo "== $(RELEASE)/Bench/PeerBench"
	@$(RELEASE)/Bench/PeerBench $(BENCH_DATA)/100000/out $(BENCH_DATA)/1000000/out

# Installs the library, its headers, CMake and pkg-config files, poi, the word
# list and the docs below PREFIX (cmake/Install.cmake lists what goes where).
PREFIX ?= /usr/local
install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# The Debian package of the same, below /usr: $(BUILD)/poiengine_<version>_<arch>.deb.
deb: build
	cd $(BUILD) && cpack -G DEB
	@ls $(BUILD)/poiengine_*.deb

clean:
	rm -rf $(BUILD) $(ASAN) $(FUZZ) $(RELEASE)
