"""Makes the photograph-like plates of examples/ that no free photograph could be had for.

    blender -b -P tools/plates/make_plates.py -- street examples/street.png [percent of 1920 x 1080] [samples]

Plates: street, winter, road, nightroad, trees, hearth. With "front" as the last word the matte of what stands before
the sky is made instead. Needs Blender with Cycles and the add-on "Sapling Tree Gen", both in
Debian's package blender. Everything in the pictures is made here; nothing is loaded.
"""
import ast
import math
import os
import random
import sys

import addon_utils
import bpy
from mathutils import Vector

plate, target = sys.argv[sys.argv.index("--") + 1:][:2]
options = sys.argv[sys.argv.index("--") + 3:]
percent = int(options[0]) if options else 100
samples = int(options[1]) if len(options) > 1 else 160
front = "front" in options

rng = random.Random(7)
bpy.ops.wm.read_factory_settings(use_empty=True)
scene = bpy.context.scene


# ---- Materials and meshes ----------------------------------------------------------------------------------------

class Material:
    """A principled surface whose inputs nodes can be joined to."""

    def __init__(self, name, colour, rough=0.8, **inputs):
        self.material = bpy.data.materials.new(name)
        self.material.use_nodes = True
        self.tree = self.material.node_tree
        self.surface = self.tree.nodes["Principled BSDF"]
        self.surface.inputs["Base Color"].default_value = (*colour, 1)
        self.surface.inputs["Roughness"].default_value = rough
        for key, value in inputs.items():
            self.surface.inputs[key.replace("_", " ")].default_value = value

    def node(self, kind, **settings):
        made = self.tree.nodes.new("ShaderNode" + kind)
        for key, value in settings.items():
            if key in made.inputs:
                made.inputs[key].default_value = value
            else:
                setattr(made, key, value)
        return made

    def join(self, source, target):
        self.tree.links.new(source, target)

    def place(self):
        return self.node("NewGeometry").outputs["Position"]

    def noise(self, scale, detail=6, rough=0.55):
        made = self.node("TexNoise", Scale=scale, Detail=detail, Roughness=rough)
        self.join(self.place(), made.inputs["Vector"])
        return made.outputs["Fac"]

    def ramp(self, value, *stops):
        made = self.node("ValToRGB")
        elements = made.color_ramp.elements
        while len(elements) < len(stops):
            elements.new(0.5)
        for element, (at, colour) in zip(elements, stops):
            element.position = at
            element.color = (*colour, 1) if isinstance(colour, tuple) else (colour, colour, colour, 1)
        self.join(value, made.inputs["Fac"])
        return made.outputs["Color"]

    def bump(self, height, strength, distance=0.02):
        made = self.node("Bump", Strength=strength, Distance=distance)
        self.join(height, made.inputs["Height"])
        self.join(made.outputs["Normal"], self.surface.inputs["Normal"])

    def colour_from(self, value, *stops):
        self.join(self.ramp(value, *stops), self.surface.inputs["Base Color"])


def glow(name, colour, strength):
    made = Material(name, (0, 0, 0))
    made.surface.inputs["Emission"].default_value = (*colour, 1)
    made.surface.inputs["Emission Strength"].default_value = strength
    made.material.cycles.sample_as_light = False  # lamps beside it light the scene, with less noise
    return made


def mesh(name, vertices, faces, material, smooth=False):
    data = bpy.data.meshes.new(name)
    data.from_pydata(vertices, [], faces)
    data.materials.append(material.material)
    if smooth:
        for polygon in data.polygons:
            polygon.use_smooth = True
    made = bpy.data.objects.new(name, data)
    scene.collection.objects.link(made)
    return made


class Boxes:
    """Many boxes in one mesh."""

    def __init__(self, name, material):
        self.name, self.material, self.vertices, self.faces = name, material, [], []

    def add(self, low, high):
        first = len(self.vertices)
        self.vertices += [(x, y, z) for z in (low[2], high[2]) for y in (low[1], high[1]) for x in (low[0], high[0])]
        self.faces += [tuple(first + i for i in face) for face in
                       ((0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5))]

    def make(self):
        return mesh(self.name, self.vertices, self.faces, self.material)


def cylinder(low, high, radius, material, tip=None, sides=24):
    axis = Vector(high) - Vector(low)
    bpy.ops.mesh.primitive_cone_add(vertices=sides, radius1=radius, radius2=radius if tip is None else tip,
                                    depth=axis.length, location=(Vector(low) + Vector(high)) / 2,
                                    rotation=axis.to_track_quat("Z", "Y").to_euler())
    made = bpy.context.object
    made.data.materials.append(material.material)
    for polygon in made.data.polygons:
        polygon.use_smooth = len(polygon.vertices) == 4
    return made


def sphere(at, radius, material):
    bpy.ops.mesh.primitive_uv_sphere_add(segments=16, ring_count=10, radius=radius, location=at)
    bpy.context.object.data.materials.append(material.material)
    return bpy.context.object


def terrain(name, size, step, height, material, origin=(0, 0)):
    """A grid of size in metres whose height is a function of x and y."""
    columns, rows = int(size[0] / step), int(size[1] / step)
    points = [(origin[0] + i * step, origin[1] + j * step) for j in range(rows + 1) for i in range(columns + 1)]
    faces = [(j * (columns + 1) + i, j * (columns + 1) + i + 1, (j + 1) * (columns + 1) + i + 1,
              (j + 1) * (columns + 1) + i) for j in range(rows) for i in range(columns)]
    return mesh(name, [(x, y, height(x, y)) for x, y in points], faces, material, smooth=True)


def tree(preset, leaf, bark, leaf_scale=1.0, **changes):
    """Trunk and leaves of a preset of the sapling add-on, as two meshes below one empty."""
    addon_utils.enable("add_curve_sapling")
    folder = os.path.join(os.path.dirname(sys.modules["add_curve_sapling"].__file__), "presets")
    with open(os.path.join(folder, preset + ".py")) as file:
        settings = ast.literal_eval(file.read())
    known = bpy.ops.curve.tree_add.get_rna_type().properties.keys()
    settings = {key: value for key, value in settings.items() if key in known}
    settings.update(changes, showLeaves=True, do_update=True)
    settings["leafScale"] = settings.get("leafScale", 0.17) * leaf_scale
    before = set(bpy.data.objects)
    bpy.ops.curve.tree_add(**settings)
    parts = []
    for part in set(bpy.data.objects) - before:
        if part.type == "CURVE":
            bpy.context.view_layer.objects.active = part
            for other in bpy.context.selected_objects:
                other.select_set(False)
            part.select_set(True)
            bpy.ops.object.convert(target="MESH")
            part = bpy.context.object
            material = bark
        elif part.type == "MESH":
            material = leaf
        else:
            continue
        part.parent = None
        part.data.materials.clear()
        part.data.materials.append(material.material)
        scene.collection.objects.unlink(part) if part.name in scene.collection.objects else None
        parts.append(part.data)
    for part in set(bpy.data.objects) - before:
        bpy.data.objects.remove(part)
    return parts


def plant(parts, at, size, turn):
    for data in parts:
        made = bpy.data.objects.new("planted", data)
        made.location, made.rotation_euler, made.scale = at, (0, 0, turn), (size, size, size)
        scene.collection.objects.link(made)


# ---- Camera, sky, render -----------------------------------------------------------------------------------------

def camera(at, towards, lens, focus=None, stop=8.0):
    data = bpy.data.cameras.new("camera")
    made = bpy.data.objects.new("camera", data)
    scene.collection.objects.link(made)
    made.location = at
    made.rotation_euler = (Vector(towards) - Vector(at)).to_track_quat("-Z", "Y").to_euler()
    data.lens, data.clip_end = lens, 20000
    if focus:
        data.dof.use_dof, data.dof.focus_distance, data.dof.aperture_fstop = True, focus, stop
    scene.camera = made


def world(colour=(0, 0, 0), strength=1.0):
    made = bpy.data.worlds.new("world")
    scene.world = made
    made.use_nodes = True
    background = made.node_tree.nodes["Background"]
    background.inputs["Color"].default_value = (*colour, 1)
    background.inputs["Strength"].default_value = strength
    return made.node_tree, background


def sky(elevation, turn, strength, sun=1.0, clouds=None, dust=1.0, air=1.0):
    """A physical sky, with clouds of noise on a plane high above where asked for: (cover, brightness)."""
    tree, background = world(strength=strength)
    made = tree.nodes.new("ShaderNodeTexSky")
    made.sky_type, made.sun_intensity, made.dust_density, made.air_density = "NISHITA", sun, dust, air
    made.sun_elevation, made.sun_rotation = math.radians(elevation), math.radians(turn)
    made.sun_size = math.radians(1.2)
    tree.links.new(made.outputs["Color"], background.inputs["Color"])
    if not clouds:
        return
    cover, bright = clouds
    place = tree.nodes.new("ShaderNodeTexCoord")
    split = tree.nodes.new("ShaderNodeSeparateXYZ")
    tree.links.new(place.outputs["Generated"], split.inputs[0])
    height = tree.nodes.new("ShaderNodeMath")
    height.operation, height.inputs[1].default_value = "MAXIMUM", 0.02
    tree.links.new(split.outputs["Z"], height.inputs[0])
    flat = tree.nodes.new("ShaderNodeCombineXYZ")
    for axis in "XY":
        over = tree.nodes.new("ShaderNodeMath")
        over.operation = "DIVIDE"
        tree.links.new(split.outputs[axis], over.inputs[0])
        tree.links.new(height.outputs[0], over.inputs[1])
        tree.links.new(over.outputs[0], flat.inputs[axis])
    noise = tree.nodes.new("ShaderNodeTexNoise")
    noise.inputs["Scale"].default_value, noise.inputs["Detail"].default_value = 1.1, 9
    noise.inputs["Roughness"].default_value, noise.inputs["Distortion"].default_value = 0.56, 0.25
    tree.links.new(flat.outputs[0], noise.inputs["Vector"])
    ramp = tree.nodes.new("ShaderNodeValToRGB")
    ramp.color_ramp.elements[0].position, ramp.color_ramp.elements[1].position = cover, cover + 0.22
    tree.links.new(noise.outputs["Fac"], ramp.inputs["Fac"])
    mix = tree.nodes.new("ShaderNodeMixRGB")
    mix.inputs["Color2"].default_value = (bright, bright, bright * 1.02, 1)
    tree.links.new(ramp.outputs["Color"], mix.inputs["Fac"])
    tree.links.new(made.outputs["Color"], mix.inputs["Color1"])
    tree.links.new(mix.outputs["Color"], background.inputs["Color"])


def nightfall(colours, strength):
    """A clear sky after dusk: colours at shares of the way from the horizon to overhead."""
    tree, background = world(strength=strength)
    place = tree.nodes.new("ShaderNodeTexCoord")
    split = tree.nodes.new("ShaderNodeSeparateXYZ")
    tree.links.new(place.outputs["Generated"], split.inputs[0])
    ramp = tree.nodes.new("ShaderNodeValToRGB")
    ramp.color_ramp.interpolation = "B_SPLINE"
    stops = ramp.color_ramp.elements
    stops.remove(stops[1])
    stops[0].position, stops[0].color = colours[0][0], (*colours[0][1], 1)
    for share, colour in colours[1:]:
        stops.new(share).color = (*colour, 1)
    tree.links.new(split.outputs["Z"], ramp.inputs["Fac"])
    tree.links.new(ramp.outputs["Color"], background.inputs["Color"])


def finish(exposure=0.0, look="Medium High Contrast", bloom=None, mist=None):
    """Renders. bloom: threshold of the glow around lights; mist: (colour, start, depth, share at the end)."""
    scene.render.engine = "CYCLES"
    scene.cycles.samples, scene.cycles.use_denoising = samples, False
    scene.cycles.use_adaptive_sampling, scene.cycles.adaptive_threshold = True, 0.02
    scene.cycles.max_bounces, scene.cycles.diffuse_bounces, scene.cycles.glossy_bounces = 5, 3, 3
    scene.cycles.transparent_max_bounces = 12
    scene.cycles.sample_clamp_indirect, scene.cycles.blur_glossy = 1.2, 1.0
    scene.cycles.caustics_reflective = scene.cycles.caustics_refractive = False
    scene.render.resolution_x, scene.render.resolution_y = 1920, 1080
    scene.render.resolution_percentage = percent
    scene.view_settings.view_transform, scene.view_settings.look = "Filmic", look
    scene.view_settings.exposure = exposure
    scene.render.image_settings.file_format = "PNG"
    scene.render.filepath = os.path.abspath(target)
    scene.use_nodes = True
    nodes, links = scene.node_tree.nodes, scene.node_tree.links
    nodes.clear()
    picture = nodes.new("CompositorNodeRLayers")
    last = picture.outputs["Image"]
    if front:
        scene.render.film_transparent = True
        scene.view_settings.view_transform, scene.view_settings.look, scene.view_settings.exposure = "Raw", "None", 0
        last, mist, bloom = picture.outputs["Alpha"], None, None
    if mist:
        colour, start, depth, share = mist
        scene.view_layers[0].use_pass_mist = True
        settings = scene.world.mist_settings
        settings.start, settings.depth, settings.falloff = start, depth, "LINEAR"
        amount = nodes.new("CompositorNodeMath")
        amount.operation, amount.inputs[1].default_value = "MULTIPLY", share
        links.new(picture.outputs["Mist"], amount.inputs[0])
        solid = nodes.new("CompositorNodeMath")  # the sky has its own colour
        solid.operation, solid.inputs[1].default_value = "LESS_THAN", 1e6
        links.new(picture.outputs["Depth"], solid.inputs[0])
        masked = nodes.new("CompositorNodeMath")
        masked.operation = "MULTIPLY"
        links.new(amount.outputs[0], masked.inputs[0])
        links.new(solid.outputs[0], masked.inputs[1])
        amount = masked
        mix = nodes.new("CompositorNodeMixRGB")
        mix.inputs[2].default_value = (*colour, 1)
        links.new(amount.outputs[0], mix.inputs["Fac"])
        links.new(last, mix.inputs[1])
        last = mix.outputs[0]
    if bloom is not None:
        glare = nodes.new("CompositorNodeGlare")
        glare.glare_type, glare.quality, glare.size, glare.threshold, glare.mix = "FOG_GLOW", "HIGH", 7, bloom, -0.55
        links.new(last, glare.inputs[0])
        last = glare.outputs[0]
    out = nodes.new("CompositorNodeComposite")
    links.new(last, out.inputs[0])
    bpy.ops.render.render(write_still=True)


# ---- The plates --------------------------------------------------------------------------------------------------

def street():
    """A wet street at night, lit by lamps and windows."""
    asphalt = Material("asphalt", (0.015, 0.016, 0.018))
    wet = asphalt.noise(0.35, 4)
    asphalt.join(asphalt.ramp(wet, (0.42, 0.07), (0.62, 0.42)), asphalt.surface.inputs["Roughness"])
    asphalt.colour_from(wet, (0.4, (0.006, 0.006, 0.007)), (0.65, (0.03, 0.03, 0.032)))
    asphalt.bump(asphalt.noise(30, 6), 0.25, 0.02)
    mesh("ground", [(-60, -10, 0), (60, -10, 0), (60, 300, 0), (-60, 300, 0)], [(0, 1, 2, 3)], asphalt)
    paving = Material("paving", (0.06, 0.058, 0.055))
    paving.join(paving.ramp(paving.noise(0.8), (0.4, 0.12), (0.65, 0.6)), paving.surface.inputs["Roughness"])
    kerbs = Boxes("kerbs", paving)
    for side in (-1, 1):
        for stone in range(90):
            low, high = sorted((side * 5.0, side * 8.9))
            kerbs.add((low, stone * 2.0, 0), (high, stone * 2.0 + 1.985, 0.16))
    kerbs.make()
    lit = [glow("warm", (1.0, 0.6, 0.26), 1.1), glow("amber", (1.0, 0.48, 0.18), 0.7), glow("cool", (0.7, 0.86, 1.0), 0.55)]
    dark = Material("pane", (0.01, 0.012, 0.015), 0.05)
    signs = [glow("red sign", (1.0, 0.06, 0.05), 7), glow("blue sign", (0.1, 0.35, 1.0), 7),
             glow("green sign", (0.08, 0.9, 0.45), 5)]
    panes = {id(m): Boxes("panes", m) for m in lit + [dark] + signs}
    frame = Boxes("frames", Material("frame", (0.09, 0.085, 0.08), 0.6))
    walls = [Material("wall", c, 0.9) for c in ((0.10, 0.05, 0.035), (0.09, 0.08, 0.07), (0.05, 0.055, 0.065), (0.12, 0.09, 0.06))]
    for wall in walls:
        wall.bump(wall.noise(9, 8), 0.5, 0.03)
    for side in (-1, 1):
        y = -6.0
        while y < 150:
            width, floors = rng.uniform(8, 15), rng.randint(3, 6)
            front = side * 9.0
            body = Boxes("house", rng.choice(walls))
            low, high = sorted((front, side * 24))
            body.add((low, y, 0), (high, y + width - 0.05, 4.2 + floors * 3.1 + 0.8))
            body.make()

            def slab(boxes, y0, y1, z0, z1, inner, outer):
                a, b = sorted((front - side * outer, front - side * inner))
                boxes.add((a, y0, z0), (b, y1, z1))

            slab(frame, y, y + width, 4.0, 4.25, 0, 0.28)
            slab(frame, y, y + width, 4.2 + floors * 3.1 + 0.5, 4.2 + floors * 3.1 + 0.9, 0, 0.4)
            shop = rng.choice(lit + [dark])
            slab(panes[id(shop)], y + 0.8, y + width * 0.62, 0.55, 3.2, 0, 0.02)
            for post in range(5):
                at = y + 0.8 + (width * 0.62 - 0.8) * post / 4
                slab(frame, at - 0.05, at + 0.05, 0.3, 3.3, 0, 0.12)
            slab(frame, y + 0.6, y + width * 0.66, 3.2, 3.35, 0, 0.9)  # awning
            slab(panes[id(dark)], y + width * 0.72, y + width * 0.72 + 1.2, 0.2, 2.6, 0, 0.02)
            if rng.random() < 0.55:
                slab(panes[id(rng.choice(signs))], y + width * 0.2, y + width * 0.5, 3.45, 3.8, 0.05, 0.14)
            count = int((width - 1.2) / 2.1)
            for floor in range(floors):
                for i in range(count):
                    left, bottom = y + 0.9 + i * 2.1, 4.9 + floor * 3.1
                    pane = rng.choice(lit) if rng.random() < 0.26 else dark
                    slab(panes[id(pane)], left, left + 1.15, bottom, bottom + 1.8, 0, 0.02)
                    slab(frame, left - 0.12, left + 1.27, bottom - 0.16, bottom - 0.02, 0, 0.2)
                    slab(frame, left + 0.54, left + 0.6, bottom, bottom + 1.8, 0, 0.06)
                    slab(frame, left, left + 1.15, bottom + 1.1, bottom + 1.16, 0, 0.06)
            y += width
    for boxes in panes.values():
        if boxes.vertices:
            boxes.make()
    frame.make()
    iron, bulb = Material("iron", (0.02, 0.02, 0.02), 0.4, Metallic=1.0), glow("bulb", (1.0, 0.66, 0.32), 60)
    for number in range(9):
        side = -1 if number % 2 else 1
        y = 9 + number * 13.0
        foot, head = (side * 5.5, y, 0.1), (side * 5.5, y, 6.2)
        cylinder(foot, head, 0.08, iron, 0.05)
        cylinder(head, (side * 4.2, y, 6.5), 0.045, iron)
        sphere((side * 4.2, y, 6.4), 0.17, bulb)
        data = bpy.data.lights.new("lamp", "POINT")
        data.energy, data.color, data.shadow_soft_size = 420, (1.0, 0.66, 0.34), 0.35
        lamp = bpy.data.objects.new("lamp", data)
        lamp.location = (side * 4.2, y, 6.1)
        scene.collection.objects.link(lamp)
    white, red = glow("headlight", (1.0, 0.93, 0.8), 120), glow("tail light", (1.0, 0.03, 0.02), 25)
    paint = Material("paint", (0.02, 0.02, 0.025), 0.15, Metallic=0.4)
    cars = Boxes("cars", paint)
    for x, y, light in ((-1.9, 46, white), (-2.1, 78, white), (1.9, 33, red), (2.0, 62, red), (-1.7, 120, white)):
        cars.add((x - 0.85, y, 0.3), (x + 0.85, y + 4.2, 0.95))
        cars.add((x - 0.7, y + 1.0, 0.95), (x + 0.7, y + 3.2, 1.42))
        for offset in (-0.62, 0.62):
            sphere((x + offset, y - 0.05, 0.68), 0.1, light)
    cars.make()
    world((0.012, 0.017, 0.03), 1.0)
    camera((0.9, -4.0, 1.55), (-0.4, 30, 3.0), 30, focus=16, stop=1.6)
    finish(exposure=0.75, bloom=1.2, mist=((0.03, 0.028, 0.03), 20, 160, 0.8))


def winter():
    """Firs at the edge of a snowy clearing, under a grey sky."""
    from mathutils import noise
    snow = Material("snow", (0.80, 0.83, 0.88), 0.6, Subsurface=0.0)
    snow.bump(snow.noise(5, 9), 0.35, 0.05)
    terrain("ground", (160, 140), 0.4, lambda x, y: 0.8 * noise.noise((x * 0.07, y * 0.07, 0)) +
            0.18 * noise.noise((x * 0.5, y * 0.5, 3)) + max(0, y - 22) * 0.035, snow, (-80, -8))

    def snowy(name, dark, light, share):
        made = Material(name, dark, 0.9)
        up = made.node("SeparateXYZ")
        made.join(made.node("NewGeometry").outputs["Normal"], up.inputs[0])
        size = made.node("Math", operation="ABSOLUTE")
        made.join(up.outputs["Z"], size.inputs[0])
        made.colour_from(size.outputs[0], (share, dark), (share + 0.18, light))
        return made

    needles = snowy("needles", (0.010, 0.026, 0.014), (0.78, 0.82, 0.88), 0.8)
    bark = snowy("bark", (0.035, 0.025, 0.018), (0.7, 0.73, 0.78), 0.8)

    def fir(seed):
        """Whorls of drooping boughs, each a feather of needle blades."""
        draw = random.Random(seed)
        vertices, faces = [], []
        height = 13.0
        z = 0.9
        while z < height:
            reach = 2.9 * (1 - z / height) ** 0.85 + 0.12
            for k in range(9):
                turn = draw.uniform(0, 2 * math.pi)
                length = reach * draw.uniform(0.75, 1.1)
                droop = draw.uniform(0.25, 0.45)
                pieces = max(5, int(length * 11))
                for i in range(pieces):
                    t = (i + 0.5) / pieces
                    out, drop = length * t, -droop * length * t * t + 0.12 * t
                    half = 0.42 * length * (1 - t) * (0.35 + 0.65 * min(1, 4 * t)) + 0.07
                    for side in (-1, 1):
                        sag = draw.uniform(-0.16, 0.02) * half
                        base = Vector((out, 0, drop))
                        end = Vector((out + 0.7 * half, side * half, drop + sag - 0.22 * half))
                        across = Vector((0.028 + 0.02 * half, 0, draw.uniform(-0.02, 0.02)))
                        first = len(vertices)
                        for point in (base - across, base + across, end + across * 0.5, end - across * 0.5):
                            x, y = point.x, point.y
                            vertices.append((x * math.cos(turn) - y * math.sin(turn),
                                             x * math.sin(turn) + y * math.cos(turn), z + point.z))
                        faces.append((first, first + 1, first + 2, first + 3))
            z += draw.uniform(0.16, 0.3)
        crown = mesh("crown", vertices, faces, needles)
        trunk = cylinder((0, 0, -1), (0, 0, height), 0.2, bark, 0.02, 10)
        parts = [crown.data]
        trunk.data.transform(trunk.matrix_world)
        parts.append(trunk.data)
        for made in (crown, trunk):
            bpy.data.objects.remove(made)
        return parts

    bpy.context.view_layer.update()
    firs = [fir(seed) for seed in range(4)]
    for row in range(8):
        y = 23 + row * 7.0
        for i in range(-11, 12):
            x = i * 3.4 + rng.uniform(-1.5, 1.5)
            gap = 7.0 - row * 1.6
            if abs(x - 3) < gap:
                continue
            plant(rng.choice(firs), (x * (1 + row * 0.13), y + rng.uniform(-3.5, 3.5), max(0, y - 22) * 0.035 - 0.3),
                  rng.uniform(0.6, 1.45), rng.uniform(0, 6.3))
    plant(firs[0], (-8.4, 13, -0.3), 0.92, 1)
    plant(firs[1], (10.2, 15, -0.3), 0.7, 2)
    plant(firs[2], (-4.9, 16.5, -0.3), 0.33, 2)
    tree_, background = world((0.33, 0.39, 0.48), 1.0)
    data = bpy.data.lights.new("sun", "SUN")
    data.energy, data.angle, data.color = 0.9, math.radians(18), (1.0, 0.9, 0.78)
    sun = bpy.data.objects.new("sun", data)
    sun.rotation_euler = (math.radians(64), 0, math.radians(-58))
    scene.collection.objects.link(sun)
    camera((0, -5, 1.9), (0.3, 20, 3.9), 32)
    finish(exposure=0.35, look="High Contrast", mist=((0.33, 0.38, 0.45), 18, 130, 0.6))


def road(night=False):
    """A road over a dry plain: in the heat, through a long lens, or under a wide sky as night falls."""
    from mathutils import noise
    sand = Material("sand", (0.36, 0.24, 0.14), 0.95)
    sand.colour_from(sand.noise(0.3, 9, 0.65), (0.35, (0.25, 0.155, 0.085)), (0.7, (0.46, 0.33, 0.2)))
    sand.bump(sand.noise(3, 9, 0.7), 0.9, 0.12)
    asphalt = Material("asphalt", (0.05, 0.05, 0.052), 0.55)
    asphalt.colour_from(asphalt.noise(1.4, 10, 0.7), (0.3, (0.035, 0.035, 0.036)), (0.75, (0.095, 0.092, 0.088)))
    asphalt.bump(asphalt.noise(60, 4), 0.5, 0.01)

    def rise(y):  # a dip, and then as good as flat, so that no crest hides a piece of the road
        return 1.3 * math.sin(min(y, 452) * 0.0125 + 2.2) - 1.05 + max(0, y - 452) * 0.0004

    def ground(x, y):
        return rise(y) - 0.1 + (abs(x) > 5) * 0.1 * noise.noise((x * 0.6, y * 0.2, 0)) + \
            (abs(x) > 9) * min(1, (abs(x) - 9) / 20) * 0.9 * noise.noise((x * 0.05, y * 0.02, 4)) - (abs(x) <= 4.5) * 0.05

    terrain("plain", (601.5, 1100), 1.5, ground, sand, (-300.75, -10))  # as wide as the lens sees at its far end
    strip = [(x, y * 4.0 - 10, rise(y * 4.0 - 10)) for y in range(381) for x in (-3.7, 3.7)]
    mesh("road", strip, [(2 * i, 2 * i + 1, 2 * i + 3, 2 * i + 2) for i in range(380)], asphalt)
    yellow, white = Material("yellow", (0.62, 0.40, 0.06), 0.7), Material("white", (0.6, 0.58, 0.54), 0.7)
    for paint in (yellow, white):
        worn = paint.node("MixShader")
        clear = paint.node("BsdfTransparent")
        holes = paint.ramp(paint.noise(5, 8, 0.75), (0.38, 0.0), (0.5, 1.0))
        paint.join(holes, worn.inputs[0])
        paint.join(clear.outputs[0], worn.inputs[1])
        paint.join(paint.surface.outputs[0], worn.inputs[2])
        paint.join(worn.outputs[0], paint.tree.nodes["Material Output"].inputs["Surface"])

    def stripe(x, half, y0, y1, material):
        steps = max(1, int((y1 - y0) / 4))
        points = [(x + s * half, y0 + (y1 - y0) * i / steps, rise(y0 + (y1 - y0) * i / steps) + 0.012)
                  for i in range(steps + 1) for s in (-1, 1)]
        mesh("stripe", points, [(2 * i, 2 * i + 1, 2 * i + 3, 2 * i + 2) for i in range(steps)], material)

    for i in range(125):
        stripe(0, 0.07, i * 12.0 - 8, i * 12.0 - 4, yellow)
    for x in (-3.4, 3.4):
        stripe(x, 0.06, -10, 1500, white)
    rock = Material("rock", (0.25, 0.15, 0.1), 0.95)
    rock.colour_from(rock.noise(0.004, 8, 0.7), (0.35, (0.15, 0.085, 0.06)), (0.68, (0.36, 0.23, 0.15)))

    def hills(x, y):
        ridge = noise.hetero_terrain((x * 0.0011, y * 0.0011, 7), 0.85, 2.1, 7, 0.6)
        return max(-8, 115 * (ridge - 0.55) * min(1, max(0, (y - 1500) / 900)))

    terrain("hills", (6400, 2600), 25, hills, rock, (-3200, 1400))
    flat = mesh("far plain", [(x, y, rise(y) - 0.1) for x, y in ((-5000, 900), (5000, 900), (5000, 3600), (-5000, 3600))], [(0, 1, 2, 3)], sand)
    shrub = Material("shrub", (0.055, 0.06, 0.025), 0.95)
    vertices, faces = [], []
    for _ in range(260):
        angle, up = rng.uniform(0, 6.3), rng.uniform(0.1, 1.3)
        reach = rng.uniform(0.25, 0.5)
        top = Vector((math.cos(angle) * math.cos(up) * reach, math.sin(angle) * math.cos(up) * reach, math.sin(up) * reach))
        across = Vector((rng.uniform(-1, 1), rng.uniform(-1, 1), rng.uniform(-1, 1))).normalized() * 0.03
        first = len(vertices)
        vertices += [tuple(top * 0.2), tuple(top - across), tuple(top * 1.12), tuple(top + across)]
        faces.append((first, first + 1, first + 2, first + 3))
    bush = mesh("bush", vertices, faces, shrub)
    for _ in range(2400):
        y = 4 + 480 * rng.random() ** 1.5
        x = rng.choice((-1, 1)) * (5.6 + abs(rng.gauss(0, 26)))
        plant([bush.data], (x, y, ground(x, y)), rng.uniform(0.5, 1.6), rng.uniform(0, 6.3))
    bpy.data.objects.remove(bush)
    wood = Material("pole", (0.1, 0.07, 0.05), 0.9)
    for i in range(22):
        y = 25 + i * 42.0
        cylinder((8.5, y, rise(y) - 0.5), (8.5, y, rise(y) + 7.6), 0.13, wood, 0.1, 8)
        cylinder((7.3, y, rise(y) + 7.0), (9.7, y, rise(y) + 7.0), 0.07, wood, sides=6)
    if night:  # the lens sees what lies beside the plain
        mesh("sides", [(-5000, 100, -3.2), (5000, 100, -3.2), (5000, 950, 0.1), (-5000, 950, 0.1)], [(0, 1, 2, 3)], sand)
        nightfall(((0.0, (0.62, 0.27, 0.11)), (0.07, (0.2, 0.2, 0.25)), (0.2, (0.034, 0.08, 0.19)), (0.5, (0.004, 0.011, 0.042))), 0.34)
        moon = bpy.data.lights.new("moon", "SUN")
        moon.energy, moon.color, moon.angle = 0.09, (0.6, 0.74, 1.0), 0.01
        turned = bpy.data.objects.new("moon", moon)
        turned.rotation_euler = (math.radians(52), 0, math.radians(-38))
        scene.collection.objects.link(turned)
        for x in (-2.35, -1.05):
            sphere((x, 230, rise(230) + 0.75), 0.16, glow("headlamp", (1.0, 0.9, 0.72), 260))
        camera((-1.3, -16, 1.7), (8.0, 200, 40.0), 30)
        finish(exposure=0.0, bloom=0.6)
        return
    sky(36, 200, 0.13, sun=0.9, clouds=(0.45, 10.0), dust=0.3)
    camera((-1.3, -16, 1.7), (0.4, 200, 3.4), 70)
    finish(exposure=-0.55, mist=((0.46, 0.53, 0.64), 150, 4200, 0.62))


def trees():
    """Broad-leaved trees in a meadow under a blue sky with clouds."""
    from mathutils import noise
    leaf = Material("leaf", (0.07, 0.16, 0.025), 0.5, Transmission=0.0)
    info = leaf.node("ObjectInfo")
    leaf.colour_from(leaf.noise(1.7, 3), (0.35, (0.035, 0.095, 0.012)), (0.68, (0.12, 0.22, 0.035)))
    through = leaf.node("BsdfTranslucent", Color=(0.22, 0.42, 0.05, 1))
    both = leaf.node("MixShader", Fac=0.4)
    leaf.join(leaf.surface.outputs[0], both.inputs[1])
    leaf.join(through.outputs[0], both.inputs[2])
    leaf.join(both.outputs[0], leaf.tree.nodes["Material Output"].inputs["Surface"])
    bark = Material("bark", (0.08, 0.06, 0.045), 0.95)
    bark.bump(bark.noise(12, 8), 0.8, 0.05)
    # branching in three orders: trunk, boughs, twigs
    broad = dict(levels=3, branches=(0, 44, 22, 0), shape="4", baseSize=0.16, baseSplits=2, segSplits=(0.3, 0.35, 0.1, 0),
                 splitAngle=(12, 18, 20, 0), splitAngleV=(3, 8, 8, 0), curveRes=(9, 6, 4, 1), length=(1, 0.42, 0.42, 0.4),
                 lengthV=(0.05, 0.12, 0.2, 0), downAngle=(0, 62, 45, 30), downAngleV=(0, -12, 14, 10), scale=9, scaleV=1.0,
                 curveV=(45, 90, 120, 0), ratio=0.022, ratioPower=1.35, leaves=46, leafShape="hex", bevel=True, bevelRes=1,
                 resU=2, taper=(1, 1, 1, 1), leafScaleX=0.75)
    kinds = [tree("quaking_aspen", leaf, bark, 1.75, **broad, seed=seed, leafangle=-20) for seed in (2, 5)]
    grass = Material("grass", (0.09, 0.16, 0.03), 0.8)
    grass.colour_from(grass.noise(0.25, 6), (0.35, (0.05, 0.095, 0.015)), (0.7, (0.17, 0.19, 0.05)))

    def meadow(x, y):
        return 0.5 * noise.noise((x * 0.03, y * 0.03, 1)) + 0.0009 * y * y * (y > 0) * 0.35

    terrain("meadow", (240, 190), 1.0, meadow, grass, (-120, -12))
    vertices, faces = [], []
    for _ in range(420):
        x, y, turn, tall = rng.uniform(-0.5, 0.5), rng.uniform(-0.5, 0.5), rng.uniform(0, 6.3), rng.uniform(0.12, 0.42)
        lean = Vector((rng.gauss(0, 0.1), rng.gauss(0, 0.1), tall))
        across = Vector((math.cos(turn), math.sin(turn), 0)) * 0.006
        first = len(vertices)
        base = Vector((x, y, 0))
        vertices += [tuple(base - across), tuple(base + across), tuple(base + lean * 0.6 + across * 0.7), tuple(base + lean)]
        faces.append((first, first + 1, first + 2, first + 3))
    tuft = mesh("tuft", vertices, faces, grass)
    for _ in range(9000):
        y = -9 + 60 * rng.random() ** 1.7
        x = rng.uniform(-1, 1) * (6 + 0.75 * (y + 9))
        plant([tuft.data], (x, y, meadow(x, y)), rng.uniform(0.7, 1.3), rng.uniform(0, 6.3))
    bpy.data.objects.remove(tuft)
    plant(kinds[0], (-6.2, 14, meadow(-6, 14)), 1.15, 0.3)
    plant(kinds[1], (8.5, 22, meadow(8, 22)), 1.05, 2.1)
    for i in range(46):
        x, y = rng.uniform(-75, 75), rng.uniform(62, 95)
        plant(rng.choice(kinds), (x, y, meadow(x, y) - 0.5), rng.uniform(0.6, 1.1), rng.uniform(0, 6.3))
    sky(40, 125, 0.13, sun=0.8, clouds=(0.56, 7.5), dust=0.0)
    camera((0, -12, 1.7), (0.6, 20, 5.4), 30)
    finish(exposure=-0.45, look="High Contrast", mist=((0.36, 0.48, 0.66), 30, 300, 0.5))


def hearth():
    """Logs in a dark fireplace of sooty bricks, before the fire is lit."""
    brick = Material("brick", (0.1, 0.05, 0.03), 0.9)
    pattern = brick.node("TexBrick", Scale=1.0, Color1=(0.13, 0.05, 0.028, 1), Color2=(0.075, 0.032, 0.02, 1),
                         Mortar=(0.055, 0.048, 0.042, 1))
    pattern.inputs["Mortar Size"].default_value, pattern.inputs["Brick Width"].default_value = 0.012, 0.46
    pattern.inputs["Row Height"].default_value, pattern.inputs["Mortar Smooth"].default_value = 0.16, 0.3
    turn = brick.node("Mapping")
    turn.inputs["Rotation"].default_value = (math.radians(90), 0, 0)
    brick.join(brick.place(), turn.inputs["Vector"])
    brick.join(turn.outputs[0], pattern.inputs["Vector"])
    soot = brick.node("MixRGB", blend_type="MULTIPLY", Fac=0.9)
    brick.join(pattern.outputs["Color"], soot.inputs["Color1"])
    brick.join(brick.ramp(brick.noise(1.6, 8, 0.65), (0.35, 0.16), (0.7, 1.0)), soot.inputs["Color2"])
    brick.join(soot.outputs[0], brick.surface.inputs["Base Color"])
    joints = brick.node("Math", operation="MULTIPLY_ADD")
    joints.inputs[1].default_value = -1.6
    brick.join(pattern.outputs["Fac"], joints.inputs[0])
    brick.join(brick.noise(14, 9, 0.7), joints.inputs[2])
    brick.bump(joints.outputs[0], 0.9, 0.03)
    stone = Material("stone", (0.05, 0.045, 0.04), 0.7)
    stone.colour_from(stone.noise(4, 9, 0.65), (0.3, (0.02, 0.018, 0.016)), (0.75, (0.085, 0.075, 0.065)))
    stone.bump(stone.noise(20, 8, 0.7), 0.6, 0.02)
    mesh("back", [(-4, 1.2, -0.5), (4, 1.2, -0.5), (4, 1.2, 4), (-4, 1.2, 4)], [(0, 1, 2, 3)], brick)
    mesh("floor", [(-4, -6, 0), (4, -6, 0), (4, 1.2, 0), (-4, 1.2, 0)], [(0, 1, 2, 3)], stone)
    bark = Material("bark", (0.06, 0.04, 0.028), 0.95)
    grain = bark.node("TexNoise", Scale=7.0, Detail=10, Roughness=0.72)
    stretch = bark.node("Mapping")
    stretch.inputs["Scale"].default_value = (0.35, 2.4, 2.4)
    bark.join(bark.node("TexCoord").outputs["Object"], stretch.inputs["Vector"])
    turned = bark.node("Mapping")
    turned.inputs["Scale"].default_value = (2.6, 2.6, 0.3)
    bark.join(bark.node("TexCoord").outputs["Object"], turned.inputs["Vector"])
    bark.join(turned.outputs[0], grain.inputs["Vector"])
    bark.colour_from(grain.outputs["Fac"], (0.36, (0.016, 0.011, 0.008)), (0.66, (0.13, 0.09, 0.06)))
    bark.bump(grain.outputs["Fac"], 1.0, 0.07)
    cut = Material("cut", (0.42, 0.27, 0.14), 0.8)
    rings = cut.node("TexWave", wave_type="RINGS", rings_direction="Z", Scale=9.0, Distortion=2.2, Detail=4)
    cut.join(cut.node("TexCoord").outputs["Object"], rings.inputs["Vector"])
    cut.colour_from(rings.outputs["Fac"], (0.1, (0.2, 0.115, 0.055)), (0.8, (0.42, 0.28, 0.15)))
    for low, high, radius in (((-1.15, 0.15, 0.17), (0.95, 0.5, 0.17), 0.17), ((-0.8, -0.42, 0.15), (1.2, -0.2, 0.15), 0.15),
                              ((-0.95, 0.35, 0.28), (0.75, -0.35, 0.62), 0.135), ((0.85, 0.45, 0.25), (-0.35, -0.5, 0.52), 0.12)):
        log = cylinder(low, high, radius, bark, sides=48)
        log.data.materials.append(cut.material)
        for polygon in log.data.polygons:
            if len(polygon.vertices) > 4:
                polygon.material_index = 1
    ash = Material("ash", (0.16, 0.15, 0.14), 1.0)
    vertices, faces = [], []
    for _ in range(1600):
        x, y, size = rng.gauss(0, 0.7), rng.gauss(0, 0.35), rng.uniform(0.004, 0.022)
        first = len(vertices)
        corner = [Vector((rng.uniform(-1, 1), rng.uniform(-1, 1), rng.uniform(0, 1))) * size for _ in range(4)]
        vertices += [tuple(Vector((x, y, 0.004)) + c) for c in corner]
        faces += [(first, first + 1, first + 2), (first, first + 1, first + 3), (first + 1, first + 2, first + 3)]
    mesh("ash", vertices, faces, ash)
    for at, colour, power, size in (((-2.6, -2.6, 2.6), (1.0, 0.62, 0.34), 330, 0.7), ((2.8, -1.8, 1.6), (0.45, 0.6, 1.0), 70, 1.2)):
        data = bpy.data.lights.new("light", "AREA")
        data.energy, data.color, data.size = power, colour, size
        made = bpy.data.objects.new("light", data)
        made.location = at
        made.rotation_euler = (Vector((0, 0.2, 0.3)) - Vector(at)).to_track_quat("-Z", "Y").to_euler()
        scene.collection.objects.link(made)
    world((0.01, 0.012, 0.016), 0.5)
    camera((0.15, -4.4, 0.95), (0, 0.2, 0.82), 45, focus=4.4, stop=2.8)
    finish(exposure=-1.0, look="High Contrast")


{"street": street, "winter": winter, "road": road, "nightroad": lambda: road(night=True), "trees": trees, "hearth": hearth}[plate]()
