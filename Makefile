# The two commands of the README: `make run` and `make test`.
BUILD_DIR ?= build
CMAKE_FLAGS ?=
ifdef CI
CMAKE_FLAGS += -DORVANE_WERROR=ON
endif

.PHONY: all deps configure build run test bench format clean

all: build

deps:
	@scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR)

run: build
	$(BUILD_DIR)/orvane $(wildcard samples/*.jpg samples/*.tif)

test: build
	cd $(BUILD_DIR) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j2

bench: build
	@scripts/install-bench-deps.sh
	@for b in $(BUILD_DIR)/bench/bench_*; do \
		if [ -f "$$b" ] && [ -x "$$b" ]; then "$$b" || exit $$?; fi; \
	done

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR)
