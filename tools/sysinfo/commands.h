#ifndef COMMANDS_H
#define COMMANDS_H

struct Operands;

/**
 * @file
 * The commands of the program. Each throws Refusal when an operand can't be a key, and Failure when
 * it fails.
 */

void getValue(Operands const& operands);
void setValue(Operands const& operands);
void listGroup(Operands const& operands);
void showTree(Operands const& operands);
void removeKey(Operands const& operands);

/** Ends when nobody reads standard output any more; SIGINT and SIGTERM end the program. */
void watchKey(Operands const& operands);

#endif
