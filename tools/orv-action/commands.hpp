#pragma once

#include "command_line.hpp"

namespace orv::tool {

// Each adds its subcommand, with its arguments and options, to `program`.
Command AddDataCommand(CLI::App& program);
Command AddRenderCommand(CLI::App& program);
Command AddTypesCommand(CLI::App& program);
Command AddTestCommand(CLI::App& program);
Command AddRunCommand(CLI::App& program);
Command AddStudioCommand(CLI::App& program);
Command AddOutboxCommand(CLI::App& program);

}  // namespace orv::tool
