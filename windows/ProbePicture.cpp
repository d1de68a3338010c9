#include "ProbePicture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tavric::com {
namespace {

struct Colour {
  double r, g, b;
};

// Light from the upper left, in front of the picture (unit vector).
constexpr double kLightX = -0.48, kLightY = -0.60, kLightZ = 0.64;

// Lambert shading plus a small highlight of a ball of colour `base` at the
// point whose offset from the ball's centre is (dx, dy) in radii.
Colour ShadeBall(Colour base, double dx, double dy) {
  const double z = std::sqrt(std::max(0.0, 1.0 - dx * dx - dy * dy));
  const double lambert = std::max(0.0, dx * kLightX + dy * kLightY + z * kLightZ);
  // Half-vector between the light and the viewer (0, 0, 1).
  const double hx = kLightX, hy = kLightY, hz = kLightZ + 1.0;
  const double hn = std::sqrt(hx * hx + hy * hy + hz * hz);
  double specular = std::max(0.0, (dx * hx + dy * hy + z * hz) / hn);
  for (int i = 0; i < 5; ++i) specular *= specular;  // specular^32
  const double diffuse = 0.25 + 0.75 * lambert;
  return {base.r * diffuse + 255.0 * 0.6 * specular, base.g * diffuse + 255.0 * 0.6 * specular,
          base.b * diffuse + 255.0 * 0.6 * specular};
}

// Distance from (px, py) to the segment (ax, ay)-(bx, by), and the position
// along it (0 at a, 1 at b).
double SegmentDistance(double px, double py, double ax, double ay, double bx, double by,
                       double& along) {
  const double vx = bx - ax, vy = by - ay;
  const double length2 = vx * vx + vy * vy;
  along = std::clamp(((px - ax) * vx + (py - ay) * vy) / length2, 0.0, 1.0);
  const double dx = px - (ax + along * vx), dy = py - (ay + along * vy);
  return std::sqrt(dx * dx + dy * dy);
}

std::uint32_t Pack(Colour c) {
  auto channel = [](double v) {
    return static_cast<std::uint32_t>(std::clamp(v, 0.0, 255.0) + 0.5) & 0xFFu;
  };
  return (channel(c.r) << 16) | (channel(c.g) << 8) | channel(c.b);
}

}  // namespace

HBITMAP CreateProbePicture(int size, COLORREF background) {
  if (size <= 0) return nullptr;
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = size;
  info.bmiHeader.biHeight = -size;  // top-down rows
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  void* bits = nullptr;
  HBITMAP bitmap = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (bitmap == nullptr || bits == nullptr) return bitmap;

  // Geometry in units of the picture's width: the sphere low on the left, the
  // stylus coming in from the upper right, its ball resting on the sphere.
  const double cx = 0.42, cy = 0.60, radius = 0.32;
  const double nx = 0.6, ny = -0.8;  // contact direction from the sphere's centre
  const double tip = 0.075;          // stylus ball radius
  const double bx = cx + (radius + tip) * nx, by = cy + (radius + tip) * ny;
  const double shaft_end_x = bx + 0.30 * nx, shaft_end_y = by + 0.30 * ny;
  const double body_end_x = bx + 0.80 * nx, body_end_y = by + 0.80 * ny;

  const Colour back{static_cast<double>(GetRValue(background)),
                    static_cast<double>(GetGValue(background)),
                    static_cast<double>(GetBValue(background))};
  const Colour steel{95.0, 125.0, 175.0};
  const Colour ruby{200.0, 30.0, 40.0};
  auto* pixels = static_cast<std::uint32_t*>(bits);
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      const double px = (x + 0.5) / size, py = (y + 0.5) / size;
      Colour c = back;
      const double sx = (px - cx) / radius, sy = (py - cy) / radius;
      if (sx * sx + sy * sy <= 1.0) c = ShadeBall(steel, sx, sy);
      double along = 0.0;
      const double body =
          SegmentDistance(px, py, shaft_end_x, shaft_end_y, body_end_x, body_end_y, along);
      if (body <= 0.09) {
        const double shade = 1.0 - 0.5 * body / 0.09;
        c = {60.0 * shade, 60.0 * shade, 66.0 * shade};
      }
      const double shaft = SegmentDistance(px, py, bx, by, shaft_end_x, shaft_end_y, along);
      if (shaft <= 0.022) {
        const double shade = 1.0 - 0.6 * shaft / 0.022;
        c = {190.0 * shade, 190.0 * shade, 195.0 * shade};
      }
      const double tx = (px - bx) / tip, ty = (py - by) / tip;
      if (tx * tx + ty * ty <= 1.0) c = ShadeBall(ruby, tx, ty);
      pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(size) +
             static_cast<std::size_t>(x)] = Pack(c);
    }
  }
  GdiFlush();
  return bitmap;
}

}  // namespace tavric::com
