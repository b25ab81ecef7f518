#pragma once

/// \file
/// The measured meshes as VTK data sets, made outside the timed part.

#include "bench_meshes.h"

#include <vtkCellArray.h>
#include <vtkCellType.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkUnstructuredGrid.h>

namespace peers {

inline vtkSmartPointer<vtkPoints> vtk_points(const qv7::plexo::dense2D<double>& pos) {
    auto points = vtkSmartPointer<vtkPoints>::New();
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(pos.cols());
    for (unsigned int j = 0; j < pos.cols(); ++j) points->SetPoint(j, pos.col_data(j));
    return points;
}

inline vtkSmartPointer<vtkCellArray> vtk_cells(const qv7::plexo::dense2D<unsigned int>& connectM) {
    auto cells = vtkSmartPointer<vtkCellArray>::New();
    cells->AllocateExact(connectM.cols(), connectM.size());
    std::vector<vtkIdType> ids(connectM.rows());
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        std::copy_n(connectM.col_data(e), connectM.rows(), ids.begin());
        cells->InsertNextCell(vtkIdType(ids.size()), ids.data());
    }
    return cells;
}

inline vtkSmartPointer<vtkPolyData> vtk_surface(const bench::mesh& m) {
    auto surface = vtkSmartPointer<vtkPolyData>::New();
    surface->SetPoints(vtk_points(m.pos));
    surface->SetPolys(vtk_cells(m.connectM));
    return surface;
}

inline vtkSmartPointer<vtkUnstructuredGrid> vtk_grid(const bench::mesh& m) {
    auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
    grid->SetPoints(vtk_points(m.pos));
    const int type = m.type == qv7::plexo::ELEM_TRIA3    ? VTK_TRIANGLE
                     : m.type == qv7::plexo::ELEM_TETRA4 ? VTK_TETRA
                                                         : VTK_HEXAHEDRON;
    grid->SetCells(type, vtk_cells(m.connectM));
    return grid;
}

} // namespace peers
