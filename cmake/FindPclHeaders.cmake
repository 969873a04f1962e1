# SPDX-License-Identifier: BSD-3-Clause
# Finds the headers of the Point Cloud Library and of Eigen and provides the target PclHeaders::PclHeaders.
# Only pcl::PointCloud, a header template, is used. PCL's own CMake package would also search for every
# library that PCL can be linked with.
set(_pcl_suffixes pcl-1.16 pcl-1.15 pcl-1.14 pcl-1.13 pcl-1.12 pcl-1.11 pcl)
find_path(PclHeaders_INCLUDE_DIR pcl/point_cloud.h PATH_SUFFIXES ${_pcl_suffixes})
find_path(PclHeaders_EIGEN_INCLUDE_DIR Eigen/Core PATH_SUFFIXES eigen3)
mark_as_advanced(PclHeaders_INCLUDE_DIR PclHeaders_EIGEN_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(PclHeaders
  REQUIRED_VARS PclHeaders_INCLUDE_DIR PclHeaders_EIGEN_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install the packages libpcl-dev and libeigen3-dev")

if(PclHeaders_FOUND AND NOT TARGET PclHeaders::PclHeaders)
  add_library(PclHeaders::PclHeaders INTERFACE IMPORTED GLOBAL)
  target_include_directories(PclHeaders::PclHeaders SYSTEM INTERFACE
    ${PclHeaders_INCLUDE_DIR} ${PclHeaders_EIGEN_INCLUDE_DIR})
endif()
