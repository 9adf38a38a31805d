# QEL: the two commands are `make run` and `make test`; both install what is
# missing first. `make bench` runs the benchmarks, `make format` applies
# clang-format.

JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE ?= cmake
CTEST ?= ctest
BUILD := build
SOURCES_TO_FORMAT = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

.PHONY: all deps build run test test-dev test-sanitize test-tsan test-install format format-check bench clean

all: build

deps:
	@sh scripts/install-deps.sh

$(BUILD)/dev/CMakeCache.txt:
	$(CMAKE) --preset dev

build: deps $(BUILD)/dev/CMakeCache.txt
	$(CMAKE) --build $(BUILD)/dev -j $(JOBS)

run: build
	$(BUILD)/dev/tools/qel/qel --version
	$(BUILD)/dev/tools/qel/qel about

test: deps format-check test-dev test-sanitize test-tsan test-install
	@echo "All tests passed."

test-dev: build
	$(CTEST) --test-dir $(BUILD)/dev --output-on-failure -j $(JOBS)

# The whole suite again under AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize: deps
	$(CMAKE) --preset sanitize
	$(CMAKE) --build $(BUILD)/sanitize -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:allow_user_segv_handler=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  $(CTEST) --test-dir $(BUILD)/sanitize --output-on-failure -j $(JOBS)

# The tests that exercise threads, under ThreadSanitizer.
TSAN_TESTS := qel_events_tests
test-tsan: deps
	$(CMAKE) -S . -B $(BUILD)/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQEL_WERROR=ON -DQEL_TSAN=ON -DQEL_BUILD_TOOLS=OFF
	$(CMAKE) --build $(BUILD)/tsan -j $(JOBS) --target $(TSAN_TESTS)
	@for t in $(TSAN_TESTS); do echo "== $$t (ThreadSanitizer)"; \
	  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $$(find $(BUILD)/tsan/tests -type f -name $$t) || exit 1; done

# Installs the library into a staging prefix and builds the example host
# against it with find_package(QEL).
test-install: build
	$(CMAKE) --install $(BUILD)/dev --prefix $(CURDIR)/$(BUILD)/stage
	$(CMAKE) -S examples/host -B $(BUILD)/example -DCMAKE_PREFIX_PATH=$(CURDIR)/$(BUILD)/stage
	$(CMAKE) --build $(BUILD)/example -j $(JOBS)
	LD_LIBRARY_PATH=$(CURDIR)/$(BUILD)/stage/lib $(BUILD)/example/qel_example_host

format:
	clang-format -i $(SOURCES_TO_FORMAT)

format-check: deps
	@clang-format --dry-run --Werror $(SOURCES_TO_FORMAT) && echo "clang-format: clean"

bench: deps
	$(CMAKE) --preset release
	$(CMAKE) --build $(BUILD)/release -j $(JOBS)
	@for b in $(BUILD)/release/bench/qel_bench_*; do echo "== $$b"; $$b --benchmark_counters_tabular=true || exit 1; done

clean:
	rm -rf $(BUILD)
