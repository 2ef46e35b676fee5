# The two commands of the README. Each installs what is missing, configures,
# builds and then runs.
PRESET ?= default
# make run DEMO=scenarios/pin_demo.json plays another demo.
DEMO ?= scenarios/demo.json
BUILD_DIR := build

.PHONY: all deps configure build run test bench clean format format-check

all: build

deps:
	@bash tools/install-deps.sh

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build --preset $(PRESET)

test: build
	@ctest --preset $(PRESET)

# Every benchmark, one line per measure. bench_pin_prompt needs the
# ModemManager test bed's tools and says so when they are missing.
BENCHES := bench_event_intake bench_prompt_latency bench_cold_start bench_pin_prompt
bench: build
	@for b in $(BENCHES); do $(BUILD_DIR)/bin/$$b || echo "$$b: failed"; done

run: build
	@DEMO=$(DEMO) bash tools/run-demo.sh

format: deps
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

# Fails on any file clang-format would change (CI runs it).
format-check: deps
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	@rm -rf build build-asan build-tsan
