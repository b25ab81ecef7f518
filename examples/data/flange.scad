// A weld-neck pipe flange: a disc with a raised face and eight bolt holes, a neck that tapers to the pipe,
// a fillet between the two, and a bore through both. Lengths in millimetres.
// Exported with: openscad --export-format binstl -o flange.stl flange.scad

disc_radius = 62;
disc_height = 18;
face_radius = 39;      // raised sealing face
face_height = 2;
bore_radius = 26.5;
neck_radius = 38;      // at the disc
pipe_radius = 30;      // where the pipe is welded on
neck_height = 110;
neck_straight = 70;    // cylindrical end of the neck
fillet_radius = 8;
bolt_circle = 51;
bolt_radius = 4.5;
bolts = 8;
edge_break = 1.5;      // chamfers

around = 160;          // facets around the axis
fillet_steps = 16;
bolt_facets = 48;

function arc(centre, radius, from, to, steps) =
    [for (i = [0:steps]) let (a = from + (to - from) * i / steps) centre + radius * [cos(a), sin(a)]];

top = face_height + disc_height;
end = top + neck_height;

// The profile (radius, height), turned about the axis.
profile = concat(
    [[bore_radius, 0], [face_radius, 0], [face_radius, face_height]],
    [[disc_radius - edge_break, face_height], [disc_radius, face_height + edge_break]],
    [[disc_radius, top - edge_break], [disc_radius - edge_break, top]],
    arc([neck_radius + fillet_radius, top + fillet_radius], fillet_radius, 270, 180, fillet_steps),
    [for (i = [1:12]) let (t = i / 12, s = t * t * (3 - 2 * t))
        [neck_radius + (pipe_radius - neck_radius) * s,
         top + fillet_radius + (neck_height - fillet_radius - neck_straight) * t]],
    [[pipe_radius, end - edge_break], [pipe_radius - edge_break, end], [bore_radius, end]]);

difference() {
    rotate_extrude($fn = around) polygon(profile);
    for (k = [0:bolts - 1])
        rotate((k + 0.5) * 360 / bolts) translate([bolt_circle, 0, -1])
            cylinder(r = bolt_radius, h = top + 2, $fn = bolt_facets);
}
