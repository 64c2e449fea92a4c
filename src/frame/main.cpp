// SPDX-License-Identifier: MIT

#include "src/frame/web_app.h"

int main(int argc, char** argv) {
    return web_app_run(argc, argv);
}
