# Entry points. Each target installs the Debian packages it misses, configures and builds as needed.
BUILD       ?= build
BUILD_TYPE  ?= RelWithDebInfo
PREFIX      ?= /usr/local
FUZZ_SECONDS ?= 60
GENERATOR   := -G Ninja
# CI=true (or 1, yes) makes warnings errors; anything else, CI=false included, does not. The flag is given
# at every configure, so that it also takes effect on an existing build directory.
WERROR      := -DVR_WERROR=$(if $(filter true 1 yes TRUE True YES,$(CI)),ON,OFF)

BUILD_PACKAGES := cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev libcli11-dev libsqlite3-dev
FUZZ_PACKAGES  := clang libclang-rt-14-dev
FORMAT_PACKAGES := clang-format

.PHONY: all deps configure build run test bench sanitize tsan fuzz format install clean

all: build

deps:
	@bash tools/ensure-packages.sh $(BUILD_PACKAGES)

configure: deps
	cmake -S . -B $(BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(WERROR)

build: configure
	cmake --build $(BUILD)

# Only what the host needs: the library, the host and its plug-ins; then a short collection of this
# machine's default features. A machine that offers no source at all (the host's status 3) gets the
# replay of the recording shipped in data/sample instead.
RUN_ARGS ?= -t 3
run: configure
	cmake --build $(BUILD) --target vr_runtime
	@status=0; $(BUILD)/bin/vantrell $(RUN_ARGS) || status=$$?; \
	if [ $$status -eq 3 ]; then \
	  echo "vantrell: replaying data/sample/recording.vrr instead" >&2; \
	  $(BUILD)/bin/vantrell -i data/sample/recording.vrr; \
	else exit $$status; fi

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j 2

bench: deps
	cmake -S . -B build-bench $(GENERATOR) -DCMAKE_BUILD_TYPE=Release -DVR_BUILD_TESTS=OFF
	cmake --build build-bench --target vr_bench
	build-bench/bin/vr_bench $(BENCH_ARGS)

sanitize: deps
	cmake -S . -B build-asan $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug -DVR_SANITIZE=ON $(WERROR)
	cmake --build build-asan
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir build-asan --output-on-failure -j 2

# The tests of the threads (worker thread, trace merge) under ThreadSanitizer.
TSAN_TESTS := VRThread|EtwMerge|EtwSession|EtwEvent|TraceSession
TSAN_TARGETS := test_record_vrthread_test test_record_vrthread_first_id_test test_trace_etwmerge_test \
                test_trace_etwsession_test test_trace_tracesession_test
tsan: deps
	cmake -S . -B build-tsan $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVR_TSAN=ON -DVR_BUILD_BENCH=OFF $(WERROR)
	cmake --build build-tsan --target $(TSAN_TARGETS)
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan -R '$(TSAN_TESTS)' --output-on-failure -j 2

fuzz: deps
	@bash tools/ensure-packages.sh $(FUZZ_PACKAGES)
	CC=clang CXX=clang++ cmake -S . -B build-fuzz $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVR_FUZZ=ON
	cmake --build build-fuzz
	@set -e; for f in build-fuzz/fuzz/*_fuzz; do \
	  name=$$(basename $$f); mkdir -p fuzz-corpus/$$name; \
	  seeds=""; [ -d fuzz/corpus/$$name ] && seeds=fuzz/corpus/$$name; \
	  echo "== $$name for $(FUZZ_SECONDS) s"; \
	  $$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 fuzz-corpus/$$name $$seeds; \
	done

format:
	@bash tools/ensure-packages.sh $(FORMAT_PACKAGES)
	git ls-files -co --exclude-standard '*.cpp' '*.h' | xargs clang-format -i

install: configure
	cmake --build $(BUILD) --target vr_runtime
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf build build-bench build-asan build-tsan build-fuzz
