# The commands a user needs; each installs missing packages first.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: deps configure build run test bench clean

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@scripts/install-browser-host $(BUILD)/host/pellmora-browser-host >/dev/null
	@scripts/install-desktop-entry $(BUILD)/app/pellmora
	@$(BUILD)/app/pellmora

test: CMAKE_FLAGS += -DPELLMORA_WERROR=ON
test: build
	@cd $(BUILD) && ctest --output-on-failure --no-tests=error -j $(JOBS)

bench: build
	@cmake --build $(BUILD) --target bench

clean:
	rm -rf $(BUILD)
