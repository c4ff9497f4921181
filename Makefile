# make demo / make test: everything from a fresh machine of this project's kind.
PYTHON ?= python3
VENV := .venv
VPY := $(VENV)/bin/python
BUILD_DIR := build/py
DEB_PACKAGES := g++ make libgtest-dev libhwy-dev libturbojpeg0-dev libpng-dev zlib1g-dev libopencv-imgproc-dev

.PHONY: all deps install test test-cpp test-python demo bench clean

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

test: test-cpp test-python

demo: install
	$(VENV)/bin/plox-ipl demo

bench: install
	@for b in bench/*.py; do [ -e "$$b" ] && $(VPY) $$b; done; true

clean:
	rm -rf build $(VENV)
