#pragma once

/// \file
/// The whole library.

#include <plexo/containers.h>
#include <plexo/geometry.h>
#include <plexo/histogram.h>
#include <plexo/ids.h>
#include <plexo/io.h>
#include <plexo/metrics.h>
#include <plexo/node_detector.h>
#include <plexo/quality.h>
#include <plexo/topology.h>
