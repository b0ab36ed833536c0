# Set-up and everyday entry points; CMake does the building.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

DEB_DIR ?= build-deb

.PHONY: all deps build demo check bench clean install deb

all: build

deps:
	@sh scripts/install-deps.sh

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

# Lists the controllers of the built-in emulated hardware, and the adapters
# as a SNIA client sees them through the system's HBA API wrapper.
demo: build
	$(BUILD)/qorsim -- $(BUILD)/mxt ioc list
	$(BUILD)/qorsim -- $(BUILD)/mxt adapter list
	$(BUILD)/qorsim -- $(BUILD)/hbaapi-list

check: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

bench: build
	@for b in $(BUILD)/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

install: build
	cmake --install $(BUILD)
	ldconfig

# The Debian packages in $(DEB_DIR), then their checks: contents, lintian,
# and the unpacked packages at work (tools/pkg/check-debs.sh).
deb: deps
	sh tools/pkg/build-debs.sh $(DEB_DIR)
	sh tools/pkg/check-debs.sh $(DEB_DIR)

clean:
	rm -rf $(BUILD) $(DEB_DIR)
