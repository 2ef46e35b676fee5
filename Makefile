# The two commands of the README. Each installs what is missing, configures,
# builds and then runs.
PRESET ?= default
# make run DEMO=scenarios/pin_demo.json plays another demo.
DEMO ?= scenarios/demo.json
BUILD_DIR := build

.PHONY: all deps configure build run test bench package clean format format-check screenshots

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

# The Debian package of the build: $(BUILD_DIR)/linkhost_<version>_<arch>.deb.
package: build
	@cmake --build --preset $(PRESET) --target package

run: build
	@DEMO=$(DEMO) bash tools/run-demo.sh

# The README's pictures: scenarios/demo.json played headless as make run does
# without a display, and three of its stages copied under names of their own,
# so that the README does not follow the demo's numbering.
SCREENSHOTS := tour-1-card-detected:card-detected tour-2-pin-asked:enter-pin \
	tour-4-sim-ready:sim-ready
screenshots: build
	@env -u DISPLAY -u WAYLAND_DISPLAY DEMO=scenarios/demo.json bash tools/run-demo.sh >/dev/null
	@mkdir -p docs/screenshots
	@set -e; for shot in $(SCREENSHOTS); do \
	    cp $(BUILD_DIR)/demo/$${shot%%:*}.png docs/screenshots/$${shot#*:}.png; \
	    echo "screenshots: docs/screenshots/$${shot#*:}.png"; \
	done

format: deps
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

# Fails on any file clang-format would change (CI runs it).
format-check: deps
	@git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

clean:
	@rm -rf build build-asan build-tsan
