# SPDX-License-Identifier: Apache-2.0
"""Draws the last mesh with its error indicators, and the fields of two modes, by means of VTK.

Usage: draw.py METRICS.pvd DIRECTORY; scripts/make-images calls it.
"""
import os
import sys
import xml.etree.ElementTree

import vtk

WIDTH, HEIGHT = 1000, 520


def last_picture(collection):
    files = [entry.get("file") for entry in
             xml.etree.ElementTree.parse(collection).getroot().iter("DataSet")]
    reader = vtk.vtkXMLUnstructuredGridReader()
    reader.SetFileName(os.path.join(os.path.dirname(collection), files[-1]))
    reader.Update()
    return reader.GetOutput()


def surface_of(grid):
    surface = vtk.vtkDataSetSurfaceFilter()  # curved elements become small flat ones
    surface.SetNonlinearSubdivisionLevel(2)
    surface.SetInputData(grid)
    surface.Update()
    return surface.GetOutput()


def outlines_of(grid):
    """The edges of the elements, of which a surface has too many."""
    append = vtk.vtkAppendPolyData()
    for i in range(grid.GetNumberOfCells()):
        corners = grid.GetCell(i).GetPointIds()
        points, line = vtk.vtkPoints(), vtk.vtkCellArray()
        line.InsertNextCell(4)
        for k in (0, 1, 2, 0):
            line.InsertCellPoint(points.InsertNextPoint(grid.GetPoint(corners.GetId(k))))
        outline = vtk.vtkPolyData()
        outline.SetPoints(points)
        outline.SetLines(line)
        append.AddInputData(outline)
    append.Update()
    return append.GetOutput()


def table_of(low, high, stops, logarithmic):
    """Colours between the stops, which are evenly apart."""
    blend = vtk.vtkColorTransferFunction()
    for i, colour in enumerate(stops):
        blend.AddRGBPoint(i / (len(stops) - 1), *colour)
    table = vtk.vtkLookupTable()
    table.SetNumberOfTableValues(256)
    table.SetTableRange(low, high)
    if logarithmic:
        table.SetScaleToLog10()
    for i in range(256):
        table.SetTableValue(i, *blend.GetColor(i / 255), 1)
    return table


BLUE_TO_RED = ((0.23, 0.30, 0.75), (0.95, 0.95, 0.95), (0.71, 0.02, 0.15))
YELLOW_TO_RED = ((1.0, 1.0, 0.85), (0.99, 0.55, 0.24), (0.5, 0.0, 0.15))


def draw(grid, array, component, title, path):
    surface = surface_of(grid)
    onCells = surface.GetCellData().HasArray(array)
    data = surface.GetCellData() if onCells else surface.GetPointData()
    low, high = data.GetArray(array).GetRange(component)
    if onCells:
        low = max(low, high * 1e-3)
        table = table_of(low, high, YELLOW_TO_RED, True)
    else:
        high = max(-low, high)
        low = -high
        table = table_of(low, high, BLUE_TO_RED, False)
    table.SetVectorModeToComponent()
    table.SetVectorComponent(component)

    mapper = vtk.vtkPolyDataMapper()
    mapper.SetInputData(surface)
    mapper.SetLookupTable(table)
    mapper.UseLookupTableScalarRangeOn()
    (mapper.SetScalarModeToUseCellFieldData if onCells else
     mapper.SetScalarModeToUsePointFieldData)()
    mapper.SelectColorArray(array)
    actor = vtk.vtkActor()
    actor.SetMapper(mapper)
    actor.GetProperty().LightingOff()

    lines = vtk.vtkPolyDataMapper()
    lines.SetInputData(outlines_of(grid))
    outlines = vtk.vtkActor()
    outlines.SetMapper(lines)
    outlines.GetProperty().SetColor(0.25, 0.25, 0.25)
    outlines.GetProperty().SetOpacity(1.0 if onCells else 0.25)
    outlines.GetProperty().LightingOff()

    bar = vtk.vtkScalarBarActor()
    bar.SetLookupTable(table)
    bar.SetTitle(title)
    bar.SetLabelFormat("%.3g")
    bar.SetNumberOfLabels(4)  # none under the title
    bar.SetOrientationToHorizontal()
    bar.SetPosition(0.2, 0.02)
    bar.SetWidth(0.6)
    bar.SetHeight(0.15)
    bar.SetVerticalTitleSeparation(8)
    bar.UnconstrainedFontSizeOn()
    for text in (bar.GetTitleTextProperty(), bar.GetLabelTextProperty()):
        text.SetColor(0, 0, 0)
        text.SetFontSize(15)
        text.ItalicOff()
        text.BoldOff()
        text.ShadowOff()

    renderer = vtk.vtkRenderer()
    renderer.SetBackground(1, 1, 1)
    for prop in (actor, outlines, bar):
        renderer.AddViewProp(prop)
    renderer.GetActiveCamera().ParallelProjectionOn()
    x0, x1, y0, y1 = grid.GetBounds()[:4]
    renderer.ResetCamera()
    camera = renderer.GetActiveCamera()
    camera.SetParallelScale(max((y1 - y0), (x1 - x0) * HEIGHT / WIDTH) * 0.62)
    below = (y1 - y0) * 0.12  # room for the bar
    for set_place, place in ((camera.SetFocalPoint, camera.GetFocalPoint()),
                             (camera.SetPosition, camera.GetPosition())):
        set_place(place[0], place[1] - below, place[2])

    window = vtk.vtkRenderWindow()
    window.SetOffScreenRendering(1)
    window.SetMultiSamples(8)
    window.SetSize(WIDTH, HEIGHT)
    window.AddRenderer(renderer)
    window.Render()
    shot = vtk.vtkWindowToImageFilter()
    shot.SetInput(window)
    shot.ReadFrontBufferOff()
    writer = vtk.vtkPNGWriter()
    writer.SetFileName(path)
    writer.SetInputConnection(shot.GetOutputPort())
    writer.Write()


def main():
    grid = last_picture(sys.argv[1])
    for array, component, title, name in (
            ("error indicator", 0, "error indicator, last pass", "indicators.png"),
            ("longitudinal field", 0, "longitudinal field of TE#1", "mode.png")):
        draw(grid, array, component, title, os.path.join(sys.argv[2], name))


if __name__ == "__main__":
    main()
