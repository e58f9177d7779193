# Entry points. Each installs what is missing first, so a fresh machine needs nothing else.
.PHONY: all deps test-deps build test test-armhf demo bench fuzz format clean

all: build

# Building and running need less than testing: make build and make demo install only that.
deps:
	@bash scripts/install-deps.sh

test-deps:
	@bash scripts/install-deps.sh --test

build: deps
	@cmake --preset release >/dev/null
	@cmake --build build/release

test:
	@bash scripts/run-tests.sh

test-armhf:
	@bash scripts/run-tests-armhf.sh

demo: build
	@bash scripts/demo.sh

bench: test-deps
	@cmake --preset bench >/dev/null
	@cmake --build build/bench
	@bash scripts/run-bench.sh build/bench

fuzz: test-deps
	@bash scripts/run-fuzz.sh

format:
	@clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf build
