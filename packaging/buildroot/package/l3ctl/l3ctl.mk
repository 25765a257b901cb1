################################################################################
#
# l3ctl
#
################################################################################

L3CTL_VERSION = 10.0.0
L3CTL_SITE = $(BR2_EXTERNAL_L3_ADVANCE_PATH)/../..
L3CTL_SITE_METHOD = local
L3CTL_LICENSE = ISC
L3CTL_LICENSE_FILES = LICENSE
# The two libraries are headers alone.
L3CTL_DEPENDENCIES = l3-advance cli11 json-for-modern-cpp
L3CTL_CONF_OPTS = -DCMAKE_BUILD_TYPE=MinSizeRel -DL3_BUILD_TRANSACTION=OFF -DL3_BUILD_TESTS=OFF \
	-DL3_SHARED_LIBSTDCXX=ON -DL3_LTO=ON

ifeq ($(BR2_TOOLCHAIN_USES_GLIBC),)
L3CTL_CONF_OPTS += -DL3_FORTIFY=OFF
endif

ifeq ($(BR2_mips),y)
L3CTL_CONF_OPTS += -DL3_PAGE_SIZE=4096 -DL3_RELRO=OFF
endif

# The library itself is l3-advance's.
define L3CTL_INSTALL_TARGET_CMDS
	DESTDIR=$(TARGET_DIR) $(HOST_DIR)/bin/cmake --install $(L3CTL_BUILDDIR) --component tools
endef

$(eval $(cmake-package))
