# The commands a user needs; each installs missing packages first.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz-clang
FUZZ_SECONDS ?= 300
CI_FUZZ_SECONDS ?= 30

.PHONY: deps configure build run test check sanitize fuzz bench clean

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

# The MCP reference client that the interop test drives, installed from the
# npm registry once per build folder, before the suite and outside its time.
define interop-client
	@[ -d $(1)/tests/mcp/interop/node_modules ] || { mkdir -p $(1)/tests/mcp/interop \
		&& cp tests/mcp/interop/package.json tests/mcp/interop/package-lock.json $(1)/tests/mcp/interop/ \
		&& cd $(1)/tests/mcp/interop && npm ci --no-audit --no-fund >/dev/null; }
endef

test: CMAKE_FLAGS += -DPELLMORA_WERROR=ON
test: build
	$(call interop-client,$(BUILD))
	@cd $(BUILD) && ctest --output-on-failure --no-tests=error -j $(JOBS)

# What CI runs: the suite, the benchmarks built (not run), then the sanitizer
# build and suite, then every fuzz target for CI_FUZZ_SECONDS.
check: test
	@cmake --build $(BUILD) -j $(JOBS) --target benches
	@$(MAKE) --no-print-directory sanitize
	@$(MAKE) --no-print-directory fuzz FUZZ_SECONDS=$(CI_FUZZ_SECONDS)

# The whole suite again with the address and undefined-behaviour sanitizers,
# asserts on; -O1 keeps the build and the run bearable.
sanitize: deps
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" \
		-DPELLMORA_SANITIZE=ON -DPELLMORA_WERROR=ON >/dev/null
	@cmake --build $(ASAN_BUILD) -j $(JOBS)
	$(call interop-client,$(ASAN_BUILD))
	@cd $(ASAN_BUILD) && ctest --output-on-failure --no-tests=error -j $(JOBS)

# Every fuzz target for FUZZ_SECONDS each, in a clang build of its own.
fuzz: deps
	@cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DPELLMORA_FUZZ=ON -DPELLMORA_BUILD_APP=OFF >/dev/null
	@cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzzers
	@scripts/run-fuzz $(FUZZ_BUILD) $(FUZZ_SECONDS)

bench: build
	@cmake --build $(BUILD) --target bench

clean:
	rm -rf $(BUILD)
