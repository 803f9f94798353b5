#include "host/pictures/picture_file.hpp"

#include <fmt/format.h>

#include <filesystem>

namespace kxhost {

bool canDraw(const std::string& file) {
  const auto extension = std::filesystem::path(file).extension();
  return extension == ".png" || extension == ".svg";
}

std::string pictureFile(const std::string& name, const std::string& which) {
  const std::filesystem::path file = name;
  const bool hasKind = canDraw(name);
  const std::string stem = hasKind ? file.stem().string() : file.filename().string();
  const std::string extension = hasKind ? file.extension().string() : ".png";
  return (file.parent_path() / fmt::format("{}-{}{}", stem, which, extension)).string();
}

std::optional<OutputFile> begunPicture(const std::string& name) {
  return name.empty() ? std::optional<OutputFile>() : std::optional<OutputFile>(std::in_place, name);
}

}  // namespace kxhost
