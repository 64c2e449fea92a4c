// SPDX-License-Identifier: MIT

#pragma once

// config_notifications: what config_init_cbus sets up for the signals that the database sends by itself.

// "config.change.": to the functions of config_change_register.
void config_listen_for_changes();
// "config.clnt_validate.": to the functions of config_validator_register.
void config_listen_for_validations();
