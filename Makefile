# The two commands of the README. Each installs what is missing, configures,
# builds and then runs.
PRESET ?= default
# make run DEMO=scenarios/pin_demo.json plays another demo.
DEMO ?= scenarios/demo.json
BUILD_DIR := build

.PHONY: all deps configure build run test clean format

all: build

deps:
	@bash tools/install-deps.sh

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET)

test: build
	@ctest --preset $(PRESET)

run: build
	@DEMO=$(DEMO) bash tools/run-demo.sh

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	@rm -rf build build-asan build-tsan
