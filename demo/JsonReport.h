#pragma once

// The run's results and speed figures as JSON, for scripts.

#include <string>
#include <vector>

#include "ImplementationRun.h"

struct MeshSummary {
    std::string name, animation;
    double animationSeconds;
    size_t vertices, triangles, bones, mostInfluences, trimmedVertices;
    int frames;
    Directions directions;
};

std::string JsonReport(const MeshSummary& mesh, const std::vector<ImplementationResult>& results,
                       int libraryReports);
