# Two commands from a bare checkout: `make run` and `make test`.
# Both install missing Debian packages first (as root, or through sudo).
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)
LINK ?=
SANITIZE ?= OFF
WERROR ?= $(if $(CI),ON,OFF)

.PHONY: all setup configure build run test bench package clean

all: build

setup:
	@scripts/setup.sh

configure: setup
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DKVX_WERROR=$(WERROR) -DSANITIZE=$(SANITIZE)

build: configure
	cmake --build $(BUILD_DIR) -j$(JOBS)

# Starts the simulator and the application connected to it; LINK=... uses a real meter.
run: build
	@scripts/run.sh "$(BUILD_DIR)/bin" "$(LINK)"

test: build
	cd $(BUILD_DIR) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j$(JOBS)

bench: build
	$(BUILD_DIR)/bin/kvx5130-bench

# The Debian package, $(BUILD_DIR)/kvx5130_<version>_<arch>.deb.
package: build
	cmake --build $(BUILD_DIR) --target package

clean:
	rm -rf $(BUILD_DIR)
