# make demo / make test: everything from a fresh machine of this project's kind.
PYTHON ?= python3
VENV := .venv
VPY := $(VENV)/bin/python
BUILD_DIR := build/py
DEB_PACKAGES := g++ make libgtest-dev libhwy-dev libturbojpeg0-dev libpng-dev zlib1g-dev libopencv-imgproc-dev

.PHONY: all deps install test test-cpp test-python test-numpy1 demo bench clean
.PHONY: sanitize-build test-sanitize fuzz-deps fuzz-build fuzz-seeds fuzz

all: install

# Debian packages that are missing, installed with apt-get (as root, or through sudo).
deps:
	@missing=$$(for p in $(DEB_PACKAGES); do dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q 'install ok installed' || echo $$p; done); \
	if [ -n "$$missing" ]; then \
	  echo "installing Debian packages:" $$missing; \
	  sudo=$$( [ "$$(id -u)" = 0 ] || echo sudo ); \
	  $$sudo apt-get update -q && DEBIAN_FRONTEND=noninteractive $$sudo apt-get install -y -q --no-install-recommends $$missing; \
	fi

$(VENV)/.ready: requirements-dev.txt
	$(PYTHON) -m venv $(VENV)
	$(VPY) -m pip install -q --upgrade pip
	$(VPY) -m pip install -q -r requirements-dev.txt
	touch $@

# In place, with a kept build tree: rebuilds are incremental and the C++ tests are built alongside.
install: deps $(VENV)/.ready
	$(VPY) -m pip install -q --no-build-isolation \
	  -C build-dir=$(BUILD_DIR) -C cmake.define.PLOX_IPL_BUILD_TESTS=ON .

test-cpp: install
	ctest --test-dir $(BUILD_DIR) --output-on-failure

test-python: install
	$(VPY) -m pytest -q tests

# NumPy 1.x at run time: the extension that install built against NumPy 2 headers, copied to a
# folder of its own and imported from a second virtual environment, which has NumPy 1.26.
VENV_NUMPY1 := .venv-numpy1
NUMPY1_STAGE := build/numpy1

$(VENV_NUMPY1)/.ready: | $(VENV)/.ready
	$(VPY) -m venv --clear $(VENV_NUMPY1)
	$(VENV_NUMPY1)/bin/python -m pip install -q "numpy==1.26.*" pytest
	touch $@

test-numpy1: install $(VENV_NUMPY1)/.ready
	rm -rf $(NUMPY1_STAGE) && mkdir -p $(NUMPY1_STAGE)
	cp -r "$$($(VPY) -c 'import os, umb_plox_ipl; print(os.path.dirname(umb_plox_ipl.__file__))')" $(NUMPY1_STAGE)/
	PYTHONPATH=$(abspath $(NUMPY1_STAGE)) $(VENV_NUMPY1)/bin/python -c \
	  'import numpy, umb_plox_ipl; assert numpy.__version__.startswith("1.26."), numpy.__version__; assert umb_plox_ipl.__file__.startswith("$(abspath $(NUMPY1_STAGE))/"), umb_plox_ipl.__file__'
	PYTHONPATH=$(abspath $(NUMPY1_STAGE)) $(VENV_NUMPY1)/bin/python -m pytest -q -p no:cacheprovider tests/numpy1

test: test-cpp test-python test-numpy1

demo: install
	$(VENV)/bin/plox-ipl demo

bench: install
	@for b in bench/*.py; do [ -e "$$b" ] && $(VPY) $$b; done; true

clean:
	rm -rf build $(VENV) $(VENV_NUMPY1)

# The sanitizer and fuzzing builds: CMake straight from the venv, each in its own folder.
JOBS ?= 2
CMAKE := $(VENV)/bin/cmake
CMAKE_GENERATOR_ARGS = -G Ninja -DCMAKE_MAKE_PROGRAM=$(abspath $(VENV)/bin/ninja) -DCMAKE_BUILD_TYPE=RelWithDebInfo

SANITIZE_DIR := build/sanitize
SANITIZE_STAGE := $(abspath $(SANITIZE_DIR)/stage)
SANITIZE_REPORTS := $(abspath $(SANITIZE_DIR)/reports)
# Reports go to files, so that one printed by a subprocess or into a captured stream still fails
# the run. allocator_may_return_null: C code's failed mallocs are handled, not reports.
ASAN_COMMON := allocator_may_return_null=1:log_path=$(SANITIZE_REPORTS)/asan
UBSAN_RUN := UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1:log_path=$(SANITIZE_REPORTS)/ubsan
# CPython is not built with ASan: its runtime must be loaded first. PYTHONMALLOC=malloc lets ASan
# see every Python object. Leaks are checked, except objects the interpreter itself allocates
# and keeps until exit (a stack of 2 frames makes "allocated by the interpreter" mean the caller
# of malloc, not any frame below), and the string argument SWIG converts outside any owner,
# lost when Python ends a daemon thread inside a call at exit.
SANITIZE_PYTHON = LD_PRELOAD="$(shell g++ -print-file-name=libasan.so) $(shell g++ -print-file-name=libubsan.so)" \
  PYTHONPATH=$(SANITIZE_STAGE) PYTHONMALLOC=malloc $(UBSAN_RUN) \
  LSAN_OPTIONS=suppressions=$(abspath $(SANITIZE_DIR))/python-leaks.supp:print_suppressions=0
ASAN_PYTHON := $(ASAN_COMMON):detect_leaks=1:malloc_context_size=2

# Library, C++ tests and extension with ASan and UBSan (gcc), staged as an importable package.
sanitize-build: deps $(VENV)/.ready
	$(CMAKE) -S . -B $(SANITIZE_DIR) $(CMAKE_GENERATOR_ARGS) -DPLOX_IPL_SANITIZE=ON \
	  -DPLOX_IPL_BUILD_TESTS=ON -DPython_EXECUTABLE=$(abspath $(VPY))
	$(CMAKE) --build $(SANITIZE_DIR) -j$(JOBS)
	rm -rf $(SANITIZE_STAGE)
	$(CMAKE) --install $(SANITIZE_DIR) --prefix $(SANITIZE_STAGE) >/dev/null
	cp python/umb_plox_ipl/*.py $(SANITIZE_STAGE)/umb_plox_ipl/
	printf 'leak:%s\n' libpython3 bin/python3 SWIG_AsPtr_std_string > $(SANITIZE_DIR)/python-leaks.supp

# ctest and the whole pytest suite on the sanitized build; any sanitizer report fails the run.
# In the C++ tests, which run the kept fuzzing findings, one allocation above the fuzzers' 512 MiB
# fails as it does in make fuzz. The resident-memory tests run with ASan's quarantine off:
# memory it holds back looks like a leak.
test-sanitize: sanitize-build
	rm -rf $(SANITIZE_REPORTS) && mkdir -p $(SANITIZE_REPORTS)
	@imported=$$($(SANITIZE_PYTHON) ASAN_OPTIONS=$(ASAN_PYTHON) $(VPY) -c 'import umb_plox_ipl; print(umb_plox_ipl.__file__)'); \
	case "$$imported" in $(SANITIZE_STAGE)/*) ;; *) echo "imported $$imported, not the sanitized build"; exit 1;; esac
	@status=0; \
	ASAN_OPTIONS=$(ASAN_COMMON):detect_leaks=1:max_allocation_size_mb=512 $(UBSAN_RUN) \
	  $(VENV)/bin/ctest --test-dir $(SANITIZE_DIR) -j$(JOBS) --output-on-failure || status=1; \
	$(SANITIZE_PYTHON) ASAN_OPTIONS=$(ASAN_PYTHON) $(VPY) -m pytest -q tests --ignore=tests/test_memory.py || status=1; \
	$(SANITIZE_PYTHON) ASAN_OPTIONS=$(ASAN_PYTHON):quarantine_size_mb=0 $(VPY) -m pytest -q tests/test_memory.py || status=1; \
	if [ -n "$$(ls -A $(SANITIZE_REPORTS))" ]; then cat $(SANITIZE_REPORTS)/*; echo "test-sanitize: sanitizer reports above"; status=1; fi; \
	exit $$status

FUZZ_DIR := build/fuzz
FUZZ_SECONDS ?= 60
FUZZ_DEB_PACKAGES := clang libclang-rt-14-dev

fuzz-deps:
	@$(MAKE) --no-print-directory deps DEB_PACKAGES="$(FUZZ_DEB_PACKAGES)"

# libFuzzer harnesses over library objects built with clang, coverage and ASan + UBSan.
fuzz-build: deps fuzz-deps $(VENV)/.ready
	$(CMAKE) -S . -B $(FUZZ_DIR) $(CMAKE_GENERATOR_ARGS) -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DPLOX_IPL_BUILD_FUZZERS=ON -DPLOX_IPL_BUILD_PYTHON=OFF
	$(CMAKE) --build $(FUZZ_DIR) -j$(JOBS)

# Tiny files of several formats and sizes, written by the library's own encoders.
fuzz-seeds: fuzz-build
	rm -rf $(FUZZ_DIR)/seeds
	$(FUZZ_DIR)/tests/fuzz/plox_fuzz_seeds $(FUZZ_DIR)/seeds

# Each harness for FUZZ_SECONDS from its seeds, its corpus so far and its kept findings; an input
# slower than 2 s or taking more than 512 MiB is a finding too. Findings land in
# build/fuzz/findings/<harness>/: keep each in tests/fuzz/regressions/<harness>/.
fuzz: fuzz-seeds
	@status=0; for fuzzer in $(FUZZ_DIR)/tests/fuzz/fuzz_*; do \
	  h=$${fuzzer##*/fuzz_}; \
	  mkdir -p $(FUZZ_DIR)/corpus/$$h $(FUZZ_DIR)/findings/$$h; \
	  dict=tests/fuzz/$$h.dict; [ -f $$dict ] && dict=-dict=$$dict || dict=; \
	  kept=tests/fuzz/regressions/$$h; [ -d $$kept ] || kept=; \
	  echo "== fuzz_$$h for $(FUZZ_SECONDS) s"; \
	  $$fuzzer -max_total_time=$(FUZZ_SECONDS) -timeout=2 -rss_limit_mb=512 $$dict -print_final_stats=1 \
	    -artifact_prefix=$(FUZZ_DIR)/findings/$$h/ $(FUZZ_DIR)/corpus/$$h $(FUZZ_DIR)/seeds/$$h $$kept || status=1; \
	done; exit $$status
