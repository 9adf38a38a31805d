# QEL: the two commands are `make run` and `make test`; both install what is
# missing first. `make bench` runs the benchmarks, `make compare` times QEL
# beside peer libraries, `make format` applies clang-format.

JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE ?= cmake
CTEST ?= ctest
BUILD := build
SOURCES_TO_FORMAT = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

.PHONY: all deps build run test test-dev test-sanitize test-tsan test-install test-fuzz format format-check check-layers bench compare clean

all: build

deps:
	@sh scripts/install-deps.sh

$(BUILD)/dev/CMakeCache.txt:
	$(CMAKE) --preset dev

build: deps $(BUILD)/dev/CMakeCache.txt
	$(CMAKE) --build $(BUILD)/dev -j $(JOBS)

# A short tour: several shapes created and summarised, one refused request,
# then a sphere saved to an enciphered container, read back and converted;
# then a generated torus mesh through STL, .qel, .tri, .raw and back to STL,
# summarised, and a refused request to make it a point file; then a closed
# cone made by `qel mesh`, written as PLY and summarised (closed, its volume).
QEL_TOOL = $(BUILD)/dev/tools/qel/qel
MESHGEN = $(BUILD)/dev/tools/meshgen/qel-meshgen
RUN_DIR = $(BUILD)/run
run: build
	$(QEL_TOOL) --version
	$(QEL_TOOL) tour
	@mkdir -p $(RUN_DIR)
	$(QEL_TOOL) create sphere --centre 0,0,0 --spacing 0.5 --radius 10 -o $(RUN_DIR)/sphere.qel --key tour-key
	$(QEL_TOOL) info $(RUN_DIR)/sphere.qel --key tour-key
	$(QEL_TOOL) convert $(RUN_DIR)/sphere.qel $(RUN_DIR)/sphere.asc --key tour-key
	$(QEL_TOOL) convert $(RUN_DIR)/sphere.asc $(RUN_DIR)/sphere.bin
	$(QEL_TOOL) info $(RUN_DIR)/sphere.bin
	$(MESHGEN) $(RUN_DIR)/torus.stl --around 160 --across 100
	$(QEL_TOOL) info $(RUN_DIR)/torus.stl
	$(QEL_TOOL) convert $(RUN_DIR)/torus.stl $(RUN_DIR)/torus.qel
	$(QEL_TOOL) info $(RUN_DIR)/torus.qel
	$(QEL_TOOL) convert $(RUN_DIR)/torus.qel $(RUN_DIR)/torus.tri
	$(QEL_TOOL) convert $(RUN_DIR)/torus.tri $(RUN_DIR)/torus.raw
	$(QEL_TOOL) convert $(RUN_DIR)/torus.raw $(RUN_DIR)/torus-back.stl
	$(QEL_TOOL) info $(RUN_DIR)/torus-back.stl
	-$(QEL_TOOL) convert $(RUN_DIR)/torus.stl $(RUN_DIR)/torus.asc
	$(QEL_TOOL) mesh cone --base-centre 0,0,0 --apex 0,0,5 --radius 2 --size 0.25 -o $(RUN_DIR)/cone.ply
	$(QEL_TOOL) info $(RUN_DIR)/cone.ply

test: deps format-check check-layers test-dev test-sanitize test-tsan test-install test-fuzz
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
TSAN_TESTS := qel_events_tests qel_formats_tests
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

# Each file reader under libFuzzer for FUZZ_SECONDS, starting from the seeds
# in tests/fuzz/seeds (clang 16: clang 14 lacks std::source_location). A finding stops the run; its input is left
# in the build folder to become a regression test.
FUZZ_SECONDS ?= 20
FUZZ_TARGETS = qel qel_key qel_mesh qel_curve asc dat bin cut xyz pts stl stl_ascii tri raw ply obj off
test-fuzz: deps
	CXX=clang++-16 $(CMAKE) -S . -B $(BUILD)/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQEL_BUILD_FUZZ=ON \
	  -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_TOOLS=OFF
	$(CMAKE) --build $(BUILD)/fuzz -j $(JOBS) --target $(addprefix qel_fuzz_,$(FUZZ_TARGETS))
	@for t in $(FUZZ_TARGETS); do \
	  corpus=$(BUILD)/fuzz/corpus/$$t; rm -rf $$corpus; mkdir -p $$corpus; cp tests/fuzz/seeds/$$t/* $$corpus/; \
	  echo "== fuzzing $$t for $(FUZZ_SECONDS) s"; \
	  ASAN_OPTIONS=allow_user_segv_handler=1:detect_leaks=1 $(BUILD)/fuzz/fuzz/qel_fuzz_$$t $$corpus \
	    -max_total_time=$(FUZZ_SECONDS) -max_len=65536 -rss_limit_mb=2048 -print_final_stats=0 \
	    -artifact_prefix=$(BUILD)/fuzz/finding_$$t- 2>$(BUILD)/fuzz/$$t.log \
	    || { tail -50 $(BUILD)/fuzz/$$t.log; exit 1; }; \
	  grep -E '^Done [0-9]+ runs' $(BUILD)/fuzz/$$t.log || true; \
	done

format:
	clang-format -i $(SOURCES_TO_FORMAT)

format-check: deps
	@clang-format --dry-run --Werror $(SOURCES_TO_FORMAT) && echo "clang-format: clean"

# No room includes a room above it; only platform/ calls the operating system.
check-layers:
	@sh scripts/check-layers.sh

# Medians of three runs: the machines are shared, and a single run of a
# millisecond-scale case is often caught by a neighbour's burst.
BENCH_FLAGS ?= --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
bench: deps
	$(CMAKE) --preset release
	$(CMAKE) --build $(BUILD)/release -j $(JOBS)
	@for b in $(BUILD)/release/bench/qel_bench_*; do echo "== $$b"; \
	  $$b --benchmark_counters_tabular=true $(BENCH_FLAGS) || exit 1; done

# QEL beside peer libraries from Debian on the same generated mesh files
# (installs them when missing; not part of `make test`).
compare: deps
	sh scripts/compare/run.sh

clean:
	rm -rf $(BUILD)
