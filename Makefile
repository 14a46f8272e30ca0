# Two commands for a new user: `make run` and `make test`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_GEN  := -G Ninja

.PHONY: all deps test-deps build build-asan run test test-release test-asan fuzz bench install clean

all: build

deps:
	@bash scripts/setup.sh run

test-deps:
	@bash scripts/setup.sh test

build: deps
	cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo
	cmake --build $(BUILD) -j $(JOBS)

build-asan: deps
	cmake -S . -B $(ASAN_BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DPATHLARK_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/pathlark

# Every test, twice: an optimised build and an AddressSanitizer + UBSan build.
test: test-deps
	$(MAKE) test-release test-asan

test-release: build
	cd $(BUILD) && ctest --output-on-failure -j 2 --timeout 600

test-asan: build-asan
	cd $(ASAN_BUILD) && ctest --output-on-failure -j 2 --timeout 900

# Coverage-guided fuzzing of the byte parsers (clang + libFuzzer), 60 s each.
fuzz: test-deps
	CC=clang CXX=clang++ cmake -S . -B build-fuzz $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPATHLARK_LIBFUZZER=ON
	cmake --build build-fuzz -j $(JOBS) --target fuzzers
	bash tests/fuzz/run_fuzzers.sh build-fuzz 60

bench: test-deps build
	bash bench/run_all.sh $(BUILD)

install: build
	cmake --install $(BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) build-fuzz
