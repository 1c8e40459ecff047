#pragma once

#include "ClusterRun.h"

#include <string>

// The result of brv cluster in its three forms. Clusters count from 1, in the order in which the rows meet them; a row
// without a cluster has an empty cell or null.

// For people: the clusters, what separates them, and the lines of each.
std::string ClustersAsTable(const Clustering& clustering, const ClusterOptions& options);
// The rows of the input between their line and their cluster, whether they are outliers ("yes", "no"), and the weighted
// squared distance to the centre in scaled units. A name that the input has already gets a number.
std::string ClustersAsCsv(const Clustering& clustering);
// Everything. Numbers that do not exist are null, and so is the chosen number of clusters where the options fix it.
std::string ClustersAsJson(const Clustering& clustering, const ClusterOptions& options);
